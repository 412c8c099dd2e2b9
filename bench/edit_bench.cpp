// MPG_Transcode and MPG_SaveTrimmedVideo beside ffmpeg with the same encoder settings.
//
//   edit_bench VIDEO BIT_RATE FOLDER [ROUNDS]      BIT_RATE: of the video, bits per second
#include <cstdio>
#include <cstdlib>
#include <string>

#include "contest.h"
#include "mpg/mpg.h"

namespace {

HostString View(const std::string& text) {
  HostString view{};
  view.characters.pointer = text.c_str();
  view.length = text.size();
  view.capacity = text.size() < 16 ? 16 : text.size();
  return view;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: edit_bench VIDEO BIT_RATE FOLDER [ROUNDS]\n");
    return 2;
  }
  const std::string video = argv[1];
  const std::string output = std::string(argv[3]) + "/edited.mp4";
  const int rounds = argc > 4 ? std::atoi(argv[4]) : 5;
  const std::string before = "rm -f " + output;
  // The library keeps the input's bit rate and FFmpeg's default of a key picture every 12.
  const std::string settings = std::string(" -c:a copy -g 12 -b:v ") + argv[2] + " " + output;
  const auto transcode = [&](TranscodeParams params) {
    params.formatId = MPG_FORMAT_MP4;
    const HostString from = View(video);
    const HostString to = View(output);
    return MPG_Transcode(&from, &to, &params, nullptr, 0);
  };
  const auto ffmpeg = [&](const std::string& window, const std::string& encoder) {
    return bench::Command("ffmpeg",
                          "ffmpeg -v error " + window + " -i " + video + " " + encoder + settings);
  };

  bench::Run({{"MPG_Transcode to MPEG-4", [&] { return transcode({.targetVideoCodec = 6}); }},
              ffmpeg("", "-c:v mpeg4")},
             rounds, before);
  bench::Run({{"MPG_Transcode to half size",
               [&] { return transcode({.targetVideoCodec = 5, .targetHeight = 360}); }},
              ffmpeg("", "-c:v libx264 -vf scale=-1:360:flags=bicubic")},
             rounds, before);
  bench::Run({{"MPG_SaveTrimmedVideo",
               [&] { return MPG_SaveTrimmedVideo(video.c_str(), output.c_str(), 5, 15); }},
              ffmpeg("-ss 5 -to 15", "-c:v libx264")},
             rounds, before);
}
