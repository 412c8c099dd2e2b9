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

void Join(const JoinArguments& arguments) {
  MergeDecision decision;
  RequireSuccess("join", MPG_MergeOP2(arguments.video.c_str(), arguments.audio.c_str(), &decision),
                 {{arguments.video, arguments.audio}});
  const std::string output =
      arguments.output.empty() ? WithoutExtension(arguments.video) + "-joined." + decision.extension
                               : arguments.output;
  std::printf("%s\n", decision.mode == MPG_MERGE_COPY ? "copying both streams"
                                                      : "copying the video, making the audio AAC");
  RunWithProgress("joining", {{arguments.video, arguments.audio}, output},
                  [&](const ProgressBar& bar) {
                    return MPG_MergeAV(arguments.video.c_str(), arguments.audio.c_str(),
                                       output.c_str(), ProgressBar::Callback, bar.Context());
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
