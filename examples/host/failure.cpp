// What a failed call is about: the library gives a code, the files tell the rest.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "commands.h"
#include "mpg/mpg.h"

namespace host {
namespace {

namespace fs = std::filesystem;

std::string Joined(const std::vector<std::string>& names) {
  std::string all;
  for (const std::string& name : names) all += (all.empty() ? "" : ", ") + name;
  return all;
}

bool IsOneOf(const std::string& output, const std::vector<std::string>& inputs) {
  return std::ranges::any_of(inputs, [&](const std::string& input) {
    std::error_code error;
    return fs::equivalent(output, input, error);
  });
}

bool FolderIsMissing(const std::string& output) {
  const fs::path folder = fs::path(output).parent_path();
  std::error_code error;
  return !folder.empty() && !fs::is_directory(folder, error);
}

// The file that a code speaks of: the first input of a pair is the video, the last the audio.
std::string About(std::int32_t result, const Files& files) {
  // System errors, other than of arguments, come from writing: the inputs can be read.
  constexpr std::int32_t kLowestSystemError = -4095;
  const bool isSystem = result >= kLowestSystemError && result < 0 && result != -EINVAL;
  if (isSystem && !files.output.empty()) return files.output;
  if (result == MPG_ERR_VIDEO_CODEC_NOT_FOUND || result == MPG_ERR_VIDEO_STREAM_NOT_FOUND) {
    return files.inputs.front();
  }
  return result == MPG_ERR_AUDIO_CODEC_NOT_FOUND ? files.inputs.back() : Joined(files.inputs);
}

}  // namespace

std::string WhyUnreadable(const std::string& path) {
  std::error_code error;
  if (fs::is_directory(path, error)) return path + ": is a folder";
  std::FILE* const file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return path + ": " + std::strerror(errno);
  std::fclose(file);
  return {};
}

std::string Reason(std::int32_t result, const Files& files) {
  for (const std::string& input : files.inputs) {
    if (std::string reason = WhyUnreadable(input); !reason.empty()) return reason;
  }
  if (result == MPG_ERR_INVALID_PARAMETER) {
    return IsOneOf(files.output, files.inputs) ? files.output + ": the output is one of the inputs"
                                               : "an argument is empty or out of range";
  }
  if (FolderIsMissing(files.output)) return files.output + ": its folder doesn't exist";
  return About(result, files) + ": " + MPG_GetErrorText(result);
}

void RequireSuccess(const char* what, std::int32_t result, const Files& files) {
  if (result == 0) return;
  std::fprintf(stderr, "%s: %s\n", what, Reason(result, files).c_str());
  Exit(kFailedOrStopped);
}

}  // namespace host
