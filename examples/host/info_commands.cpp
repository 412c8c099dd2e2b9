#include <cmath>
#include <cstdio>
#include <memory>
#include <string>

#include "commands.h"
#include "mpg/mpg.h"

namespace host {
namespace {

void PrintLine(const char* name, const std::string& value) {
  std::printf("%-12s %s\n", name, value.c_str());
}

std::string Seconds(std::int64_t seconds) {
  return std::to_string(seconds) + " s";
}

std::string BitRate(std::int64_t bitRate) {
  return bitRate == 0 ? "unknown" : std::to_string(bitRate / 1000) + " kbit/s";
}

std::string FrameRate(double rate) {
  if (std::isnan(rate)) return "unknown rate";
  char text[32];
  std::snprintf(text, sizeof text, "%.3f fps", rate);
  return text;
}

void PrintInfo(const std::string& path) {
  MediaInfo info;
  if (MPG_GetMediaInfo(path.c_str(), &info) == 0) {
    std::fprintf(stderr, "%s: %s\n", path.c_str(),
                 MPG_IsThisGoodFile(path.c_str()) != 0 ? "holds neither video nor audio"
                                                       : "not a media file");
    Exit(kFailedOrStopped);
  }
  PrintLine("file", path);
  PrintLine("duration", Seconds(info.duration));
  PrintLine("bit rate", BitRate(info.bitRate));
  if (info.videoStreams > 0) {
    PrintLine("video", std::string(info.videoCodec) + ", " + std::to_string(info.width) + " x " +
                           std::to_string(info.height) + ", " + FrameRate(info.frameRate) + ", " +
                           Seconds(info.videoDuration) + ", " + BitRate(info.videoBitRate));
  }
  if (info.audioCodec[0] != '\0') {
    PrintLine("audio", std::string(info.audioCodec) + ", " + std::to_string(info.sampleRate) +
                           " Hz, " + std::to_string(info.channels) + " channels, " +
                           info.sampleFormat + ", " + Seconds(info.audioDuration) + ", " +
                           BitRate(info.audioBitRate));
  }
  PrintLine("streams", std::to_string(info.videoStreams) + " video, " +
                           std::to_string(info.audioStreams) + " audio");
}

void PrintDecision(const std::string& videoPath, const std::string& audioPath) {
  MergeDecision decision;
  RequireSuccess("decide", MPG_MergeOP2(videoPath.c_str(), audioPath.c_str(), &decision));
  PrintLine("mode", decision.mode == MPG_MERGE_COPY ? "copy both streams" : "re-encode the audio");
  PrintLine("extension", decision.extension);
  PrintLine("alternative", decision.altExtension);
}

}  // namespace

void AddInfoCommands(CLI::App& app) {
  struct Arguments {
    std::string video;
    std::string audio;
  };
  const auto arguments = std::make_shared<Arguments>();

  CLI::App* const info = app.add_subcommand("info", "Show what a file holds");
  info->add_option("file", arguments->video)->required();
  info->callback([arguments] { PrintInfo(arguments->video); });

  CLI::App* const decide = app.add_subcommand("decide", "Show how two files can be joined");
  decide->add_option("video", arguments->video)->required();
  decide->add_option("audio", arguments->audio)->required();
  decide->callback([arguments] { PrintDecision(arguments->video, arguments->audio); });
}

}  // namespace host
