// MPG_MergeAV beside `ffmpeg -c copy` and `cp` on one pair of files.
//
//   join_bench WORK VIDEO AUDIO FOLDER ROUNDS
#include <cstdio>
#include <cstdlib>
#include <string>

#include "contest.h"
#include "mpg/mpg.h"

int main(int argc, char** argv) {
  if (argc != 6) {
    std::fprintf(stderr, "usage: join_bench WORK VIDEO AUDIO FOLDER ROUNDS\n");
    return 2;
  }
  const std::string video = argv[2];
  const std::string audio = argv[3];
  const std::string folder = argv[4];
  const std::string output = folder + "/joined.mp4";
  bench::Run({.work = argv[1],
              .contestants = {{"MPG_MergeAV",
                               [&] {
                                 return MPG_MergeAV(video.c_str(), audio.c_str(), output.c_str(),
                                                    nullptr, 0);
                               }},
                              bench::Command("ffmpeg -c copy",
                                             "ffmpeg -v error -i " + video + " -i " + audio +
                                                 " -map 0:v -map 1:a -c copy " + output,
                                             0.5),
                              bench::Command("cp", "cp " + video + " " + audio + " " + folder)},
              .rounds = std::atoi(argv[5]),
              .before = bench::Rest(folder + "/*")});
}
