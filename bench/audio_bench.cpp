// MP3_Convert and the join that makes the audio AAC, each beside `ffmpeg` with the same settings.
//
//   audio_bench mp3 WORK AUDIO BITRATE FOLDER ROUNDS
//   audio_bench join WORK VIDEO AUDIO BITRATE FOLDER ROUNDS
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "contest.h"
#include "mpg/mpg.h"

namespace {

void RaceMp3(const std::string& work, const std::string& audio, const std::string& bitRate,
             const std::string& folder, int rounds) {
  const std::string output = folder + "/converted.mp3";
  bench::Run(
      {.work = work,
       .contestants = {{"MP3_Convert",
                        [&] { return MP3_Convert(audio.c_str(), output.c_str(), 0, nullptr, 0); }},
                       bench::Command("ffmpeg -c:a libmp3lame",
                                      "ffmpeg -v error -i " + audio +
                                          " -vn -ac 1 -c:a libmp3lame -b:a " + bitRate + " " +
                                          output,
                                      1)},
       .rounds = rounds,
       .before = bench::Rest(folder + "/*")});
}

void RaceJoin(const std::string& work, const std::string& video, const std::string& audio,
              const std::string& bitRate, const std::string& folder, int rounds) {
  const std::string output = folder + "/joined.mp4";
  bench::Run({.work = work,
              .contestants = {{"MPG_MergeAV",
                               [&] {
                                 return MPG_MergeAV(video.c_str(), audio.c_str(), output.c_str(),
                                                    nullptr, 0);
                               }},
                              bench::Command("ffmpeg -c:v copy -c:a aac",
                                             "ffmpeg -v error -i " + video + " -i " + audio +
                                                 " -map 0:v:0 -map 1:a:0 -c:v copy -c:a aac -b:a " +
                                                 bitRate + " -shortest " + output,
                                             1)},
              .rounds = rounds,
              .before = bench::Rest(folder + "/*")});
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  if (words.size() == 6 && words[0] == "mp3") {
    RaceMp3(words[1], words[2], words[3], words[4], std::stoi(words[5]));
  } else if (words.size() == 7 && words[0] == "join") {
    RaceJoin(words[1], words[2], words[3], words[4], words[5], std::stoi(words[6]));
  } else {
    std::fprintf(stderr,
                 "usage: audio_bench mp3 WORK AUDIO BITRATE FOLDER ROUNDS\n"
                 "       audio_bench join WORK VIDEO AUDIO BITRATE FOLDER ROUNDS\n");
    return 2;
  }
}
