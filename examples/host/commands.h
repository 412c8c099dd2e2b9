// The host's subcommands. Each Add function adds its group to the command line; what a command
// returns is the program's exit status.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>
#include <vector>

namespace host {

enum ExitStatus : int {
  kDone = 0,
  kFailedOrStopped = 1,
  kUsageError = 2,
};

void AddInfoCommands(CLI::App& app);
void AddJoinCommands(CLI::App& app);
void AddSegmentCommands(CLI::App& app);
void AddRepairCommands(CLI::App& app);
void AddEditCommands(CLI::App& app);
void AddAudioCommands(CLI::App& app);
void AddImageCommands(CLI::App& app);
void AddTranscodeCommands(CLI::App& app);
void AddWatchCommand(CLI::App& app);

/// Ends the program's run with a status, from inside a command.
[[noreturn]] void Exit(ExitStatus status);

/// A path without its file's extension.
std::string WithoutExtension(const std::string& path);

/// What a call worked on; a call that writes no file has no output.
struct Files {
  std::vector<std::string> inputs;
  std::string output = {};
};

/// Which file a failure is about and why, as far as that can be found out afterwards; else the
/// library's text for the code.
std::string Reason(std::int32_t result, const Files& files);

/// Why the system doesn't let a file be read; empty when it does.
std::string WhyUnreadable(const std::string& path);

/// Says why a call failed and ends the program's run; does nothing after success.
void RequireSuccess(const char* what, std::int32_t result, const Files& files);

}  // namespace host
