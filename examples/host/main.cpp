// mpg-host: what a host does with the library, as a command-line program. It uses nothing but
// mpg/mpg.h.
#include <cstdio>

#include "commands.h"
#include "mpg/mpg.h"
#include "progress_bar.h"

namespace host {

void Exit(ExitStatus status) {
  throw CLI::RuntimeError(status);
}

std::string WithoutExtension(const std::string& path) {
  const std::size_t dot = path.find_last_of("./\\");
  const bool hasExtension = dot != std::string::npos && path[dot] == '.';
  return path.substr(0, hasExtension ? dot : std::string::npos);
}

}  // namespace host

int main(int argc, char** argv) {
  CLI::App app("Joins, examines and converts media files with mpg.", "mpg-host");
  // Names may begin with a slash on every system.
  app.allow_windows_style_options(false);
  app.set_version_flag("--version", "mpg-host " MPG_VERSION);
  app.require_subcommand(1);
  app.footer("Exit status: 0 done, 1 failed or stopped with Ctrl-C, 2 wrong arguments.");
  host::AddInfoCommands(app);
  host::AddJoinCommands(app);
  host::AddSegmentCommands(app);
  host::AddRepairCommands(app);
  host::AddEditCommands(app);
  host::AddAudioCommands(app);
  host::AddImageCommands(app);
  host::AddTranscodeCommands(app);
  host::AddWatchCommand(app);

  host::StopOnInterrupt();
  try {
    app.parse(argc, argv);
    return host::kDone;
  } catch (const CLI::RuntimeError& error) {
    return error.get_exit_code();
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? host::kDone : host::kUsageError;
  }
}
