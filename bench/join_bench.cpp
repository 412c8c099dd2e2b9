// MPG_MergeAV beside `ffmpeg -c copy` and `cp` on one pair of files.
//
//   join_bench VIDEO AUDIO FOLDER [ROUNDS]
#include <cstdio>
#include <cstdlib>
#include <string>

#include "contest.h"
#include "mpg/mpg.h"

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: join_bench VIDEO AUDIO FOLDER [ROUNDS]\n");
    return 2;
  }
  const std::string video = argv[1];
  const std::string audio = argv[2];
  const std::string folder = argv[3];
  const std::string output = folder + "/joined.mp4";
  const int rounds = argc > 4 ? std::atoi(argv[4]) : 5;

  bench::Run(
      {{"MPG_MergeAV",
        [&] { return MPG_MergeAV(video.c_str(), audio.c_str(), output.c_str(), nullptr, 0); }},
       bench::Command("ffmpeg -c copy", "ffmpeg -v error -i " + video + " -i " + audio +
                                            " -map 0:v -map 1:a -c copy " + output),
       bench::Command("cp", "cp " + video + " " + audio + " " + folder)},
      // Written-back files and a moment's rest: the system's own work would be counted too.
      rounds, "rm -f " + folder + "/*; sync; sleep 0.3");
}
