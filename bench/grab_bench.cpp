// Thumbnails of a long video beside `ffmpegthumbnailer` and `ffmpeg -ss`, at the same place and of
// the same height.
//
//   grab_bench VIDEO SECONDS FOLDER ROUNDS      SECONDS: how long the video is
#include <cstdio>
#include <cstdlib>
#include <string>

#include "contest.h"
#include "mpg/mpg.h"

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: grab_bench VIDEO SECONDS FOLDER ROUNDS\n");
    return 2;
  }
  constexpr int kPercent = 50;
  constexpr unsigned kHeight = 240;
  const std::string video = argv[1];
  const auto second = static_cast<unsigned>(std::atoi(argv[2]) * kPercent / 100);
  const std::string output = std::string(argv[3]) + "/thumbnail.jpg";
  const int rounds = std::atoi(argv[4]);

  const auto race = [&](const std::string& work, const bench::Contestant& ours) {
    bench::Run({.work = work,
                .contestants = {ours,
                                bench::Command("ffmpeg -ss",
                                               "ffmpeg -v error -y -ss " + std::to_string(second) +
                                                   " -i " + video + " -frames:v 1 -vf scale=-2:" +
                                                   std::to_string(kHeight) + " " + output,
                                               1),
                                bench::Command("ffmpegthumbnailer",
                                               "ffmpegthumbnailer -i " + video + " -o " + output +
                                                   " -t " + std::to_string(kPercent) + "% -s 0x" +
                                                   std::to_string(kHeight))},
                .rounds = rounds,
                .before = "rm -f " + output});
  };
  race("frame at a time, as bitmap",
       {"MPG_GetImageBMP", [&] {
          std::uint32_t size = 0;
          return MPG_GetImageBMP(video.c_str(), second, &size, kHeight) == nullptr ? 1 : 0;
        }});
  race("frame at half the file, as JPEG", {"MPG_GetImageP", [&] {
                                             return MPG_GetImageP(MPG_IMAGE_JPEG, video.c_str(),
                                                                  output.c_str(), kPercent, kHeight,
                                                                  75) == 1
                                                        ? 0
                                                        : 1;
                                           }});
}
