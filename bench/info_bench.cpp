// What the library tells of a file, beside programs that tell it: as a whole process, and the call
// alone, as in a host; then what a join decides by.
//
//   info_bench WORK VIDEO AUDIO ROUNDS
//   info_bench VIDEO                         tells of one file, as a program of its own
#include <cstdio>
#include <cstdlib>
#include <string>

#include "contest.h"
#include "mpg/mpg.h"

namespace {

int Tell(const char* path) {
  MediaInfo info;
  return MPG_GetMediaInfo(path, &info) == 1 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2) return Tell(argv[1]);
  if (argc != 5) {
    std::fprintf(stderr, "usage: info_bench WORK VIDEO AUDIO ROUNDS\n");
    return 2;
  }
  const std::string work = argv[1];
  const std::string video = argv[2];
  const std::string audio = argv[3];
  const int rounds = std::atoi(argv[4]);
  const auto mediainfo = bench::Command("mediainfo", "mediainfo " + video, 1.2);
  const auto ffprobe = bench::Command("ffprobe", "ffprobe -v error -show_streams " + video, 1);
  bench::Run(
      {.work = work + ", a process of its own",
       .contestants = {bench::Command("MPG_GetMediaInfo", std::string(argv[0]) + " " + video),
                       mediainfo, ffprobe},
       .rounds = rounds});
  bench::Run({.work = work + ", the call alone",
              .contestants = {{"MPG_GetMediaInfo", [&] { return Tell(video.c_str()); }}, mediainfo},
              .rounds = rounds});
  bench::Run({.work = "merge decision",
              .contestants = {{"MPG_MergeOP2",
                               [&] {
                                 MergeDecision decision;
                                 return MPG_MergeOP2(video.c_str(), audio.c_str(), &decision);
                               }},
                              bench::Command(
                                  "ffprobe",
                                  "ffprobe -v error -show_entries stream=codec_name " + video, 1)},
              .rounds = rounds});
}
