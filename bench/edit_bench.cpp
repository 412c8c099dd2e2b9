// MPG_Transcode and MPG_SaveTrimmedVideo beside ffmpeg with the same encoder settings.
//
//   edit_bench VIDEO BIT_RATE FOLDER ROUNDS [ENCODER]      BIT_RATE: of the video, bits per second
//
// With ENCODER only a trim to the first second, beside ffmpeg with that encoder and its settings.
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

void TrimToASecond(const std::string& video, const std::string& rate, const std::string& folder,
                   int rounds, const std::string& encoder) {
  const std::string output = folder + "/edited.mkv";
  const std::string peer = "ffmpeg -v error -to 1 -i " + video + " -c:a copy -b:v " + rate +
                           " -c:v " + encoder + " " + output;
  bench::Run(
      {.work = "trim to 1 s, " + encoder,
       .contestants = {{"MPG_SaveTrimmedVideo",
                        [&] { return MPG_SaveTrimmedVideo(video.c_str(), output.c_str(), 0, 1); }},
                       bench::Command("ffmpeg", peer, 1)},
       .rounds = rounds,
       .before = "rm -f " + output});
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5 && argc != 6) {
    std::fprintf(stderr, "usage: edit_bench VIDEO BIT_RATE FOLDER ROUNDS [ENCODER]\n");
    return 2;
  }
  const std::string video = argv[1];
  const std::string output = std::string(argv[3]) + "/edited.mp4";
  const int rounds = std::atoi(argv[4]);
  if (argc == 6) {
    TrimToASecond(video, argv[2], argv[3], rounds, argv[5]);
    return 0;
  }
  // The library keeps the input's bit rate.
  const std::string settings = std::string(" -c:a copy -b:v ") + argv[2] + " " + output;
  const auto transcode = [&](TranscodeParams params) {
    params.formatId = MPG_FORMAT_MP4;
    const HostString from = View(video);
    const HostString to = View(output);
    return MPG_Transcode(&from, &to, &params, nullptr, 0);
  };
  const auto race = [&](const std::string& work, const bench::Contestant& ours,
                        const std::string& window, const std::string& encoder) {
    const std::string ffmpeg = "ffmpeg -v error " + window + " -i " + video + " " + encoder;
    bench::Run({.work = work,
                .contestants = {ours, bench::Command("ffmpeg", ffmpeg + settings, 1)},
                .rounds = rounds,
                .before = "rm -f " + output});
  };
  race("transcode to MPEG-4", {"MPG_Transcode", [&] { return transcode({.targetVideoCodec = 6}); }},
       "", "-c:v mpeg4");
  race("transcode to half the size",
       {"MPG_Transcode", [&] { return transcode({.targetVideoCodec = 5, .targetHeight = 360}); }},
       "", "-c:v libx264 -vf scale=-1:360:flags=bicubic");
  race("trim to 10 s",
       {"MPG_SaveTrimmedVideo",
        [&] { return MPG_SaveTrimmedVideo(video.c_str(), output.c_str(), 5, 15); }},
       "-ss 5 -to 15", "-c:v libx264");
}
