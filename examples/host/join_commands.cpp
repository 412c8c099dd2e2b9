#include <memory>
#include <string>

#include "commands.h"
#include "mpg/mpg.h"
#include "progress_bar.h"

namespace host {
namespace {

struct JoinArguments {
  std::string video;
  std::string audio;
  std::string output;
};

// The video's name with the extension that suits the pair.
std::string NameOutput(const JoinArguments& arguments) {
  MergeDecision decision;
  RequireSuccess("join", MPG_MergeOP2(arguments.video.c_str(), arguments.audio.c_str(), &decision));
  const std::size_t dot = arguments.video.find_last_of("./\\");
  const bool hasExtension = dot != std::string::npos && arguments.video[dot] == '.';
  return arguments.video.substr(0, hasExtension ? dot : std::string::npos) + "-joined." +
         decision.extension;
}

void Join(const JoinArguments& arguments) {
  const std::string output = arguments.output.empty() ? NameOutput(arguments) : arguments.output;
  RunWithProgress("joining", output, [&](const ProgressBar& bar) {
    return MPG_MergeAV(arguments.video.c_str(), arguments.audio.c_str(), output.c_str(),
                       ProgressBar::Callback, bar.Context());
  });
}

}  // namespace

void AddJoinCommands(CLI::App& app) {
  const auto arguments = std::make_shared<JoinArguments>();
  CLI::App* const join = app.add_subcommand("join", "Join a video file with an audio file");
  join->add_option("video", arguments->video)->required();
  join->add_option("audio", arguments->audio)->required();
  join->add_option("output", arguments->output,
                   "File to write; without it, a name beside the video");
  join->callback([arguments] { Join(*arguments); });
}

}  // namespace host
