// MP3_Convert and the join that makes the audio AAC, each beside `ffmpeg` with the same settings.
//
//   audio_bench mp3 AUDIO BITRATE FOLDER [ROUNDS]
//   audio_bench join VIDEO AUDIO BITRATE FOLDER [ROUNDS]
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "contest.h"
#include "mpg/mpg.h"

namespace {

// Written-back files and a moment's rest: the system's own work would be counted too.
std::string Before(const std::string& folder) {
  return "rm -f " + folder + "/*; sync; sleep 0.3";
}

void RaceMp3(const std::string& audio, const std::string& bitRate, const std::string& folder,
             int rounds) {
  const std::string output = folder + "/sound.mp3";
  bench::Run(
      {{"MP3_Convert", [&] { return MP3_Convert(audio.c_str(), output.c_str(), 0, nullptr, 0); }},
       bench::Command("ffmpeg -c:a libmp3lame", "ffmpeg -v error -i " + audio +
                                                    " -vn -ac 1 -c:a libmp3lame -b:a " + bitRate +
                                                    " " + output)},
      rounds, Before(folder));
}

void RaceJoin(const std::string& video, const std::string& audio, const std::string& bitRate,
              const std::string& folder, int rounds) {
  const std::string output = folder + "/joined.mp4";
  bench::Run(
      {{"MPG_MergeAV",
        [&] { return MPG_MergeAV(video.c_str(), audio.c_str(), output.c_str(), nullptr, 0); }},
       bench::Command("ffmpeg -c:v copy -c:a aac",
                      "ffmpeg -v error -i " + video + " -i " + audio +
                          " -map 0:v:0 -map 1:a:0 -c:v copy -c:a aac -b:a " + bitRate +
                          " -shortest " + output)},
      rounds, Before(folder));
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  const auto rounds = [&](std::size_t i) {
    return words.size() > i ? std::atoi(words[i].c_str()) : 5;
  };
  if (words.size() >= 4 && words[0] == "mp3") {
    RaceMp3(words[1], words[2], words[3], rounds(4));
  } else if (words.size() >= 5 && words[0] == "join") {
    RaceJoin(words[1], words[2], words[3], words[4], rounds(5));
  } else {
    std::fprintf(stderr,
                 "usage: audio_bench mp3 AUDIO BITRATE FOLDER [ROUNDS]\n"
                 "       audio_bench join VIDEO AUDIO BITRATE FOLDER [ROUNDS]\n");
    return 2;
  }
}
