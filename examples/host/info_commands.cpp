#include <cmath>
#include <concepts>
#include <cstdio>
#include <memory>
#include <string>

#include "commands.h"
#include "mpg/mpg.h"

namespace host {
namespace {

class JsonObject {
 public:
  void Add(const char* name, const std::string& text) { AddField(name, Quoted(text)); }
  void Add(const char* name, std::integral auto number) { AddField(name, std::to_string(number)); }
  void AddIfKnown(const char* name, std::int64_t number) {
    AddField(name, number == 0 ? "null" : std::to_string(number));
  }
  void Add(const char* name, double number) {
    AddField(name, std::isfinite(number) ? std::to_string(number) : "null");
  }
  void Print() const { std::printf("{%s\n}\n", fields_.c_str()); }

 private:
  static std::string Quoted(const std::string& text) {
    std::string quoted = "\"";
    for (const char character : text) {
      char escape[8];
      if (character == '"' || character == '\\') {
        quoted += '\\';
        quoted += character;
      } else if (static_cast<unsigned char>(character) < 0x20) {
        std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(character));
        quoted += escape;
      } else {
        quoted += character;
      }
    }
    return quoted + '"';
  }
  void AddField(const char* name, const std::string& value) {
    fields_ += (fields_.empty() ? "\n  " : ",\n  ") + Quoted(name) + ": " + value;
  }

  std::string fields_;
};

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

MediaInfo ReadInfo(const std::string& path) {
  MediaInfo info;
  if (MPG_GetMediaInfo(path.c_str(), &info) != 0) return info;
  std::string reason = WhyUnreadable(path);
  if (reason.empty()) {
    reason = path + (MPG_IsThisGoodFile(path.c_str()) != 0 ? ": holds neither video nor audio"
                                                           : ": not a media file");
  }
  std::fprintf(stderr, "%s\n", reason.c_str());
  Exit(kFailedOrStopped);
}

// One object; what a file doesn't tell is null.
void PrintJson(const std::string& path) {
  const MediaInfo info = ReadInfo(path);
  JsonObject json;
  json.Add("file", path);
  json.Add("duration", info.duration);
  json.AddIfKnown("bitRate", info.bitRate);
  json.Add("videoStreams", info.videoStreams);
  if (info.videoStreams > 0) {
    json.Add("videoCodec", std::string(info.videoCodec));
    json.Add("width", info.width);
    json.Add("height", info.height);
    json.Add("frameRate", info.frameRate);
    json.Add("videoDuration", info.videoDuration);
    json.AddIfKnown("videoBitRate", info.videoBitRate);
  }
  json.Add("audioStreams", info.audioStreams);
  if (info.audioCodec[0] != '\0') {
    json.Add("audioCodec", std::string(info.audioCodec));
    json.Add("sampleRate", info.sampleRate);
    json.AddIfKnown("channels", info.channels);
    json.Add("sampleFormat", std::string(info.sampleFormat));
    json.Add("audioDuration", info.audioDuration);
    json.AddIfKnown("audioBitRate", info.audioBitRate);
  }
  json.Print();
}

void PrintInfo(const std::string& path) {
  const MediaInfo info = ReadInfo(path);
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
  RequireSuccess("decide", MPG_MergeOP2(videoPath.c_str(), audioPath.c_str(), &decision),
                 {{videoPath, audioPath}});
  PrintLine("mode", decision.mode == MPG_MERGE_COPY ? "copy both streams" : "re-encode the audio");
  PrintLine("extension", decision.extension);
  PrintLine("alternative", decision.altExtension);
}

}  // namespace

void AddInfoCommands(CLI::App& app) {
  struct Arguments {
    std::string video;
    std::string audio;
    bool json = false;
  };
  const auto arguments = std::make_shared<Arguments>();

  CLI::App* const info = app.add_subcommand("info", "Show what a file holds");
  info->add_option("file", arguments->video)->required();
  info->add_flag("--json", arguments->json, "One JSON object; null is what the file doesn't tell");
  info->callback(
      [arguments] { arguments->json ? PrintJson(arguments->video) : PrintInfo(arguments->video); });

  CLI::App* const decide = app.add_subcommand("decide", "Show how two files can be joined");
  decide->add_option("video", arguments->video)->required();
  decide->add_option("audio", arguments->audio)->required();
  decide->callback([arguments] { PrintDecision(arguments->video, arguments->audio); });
}

}  // namespace host
