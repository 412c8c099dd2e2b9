// MPG_Merge beside ffmpeg's concat demuxer and `cat` on the segments of one folder.
//
//   concat_bench SEGMENTS FOLDER [ROUNDS]      SEGMENTS: a folder of .ts files
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "contest.h"
#include "mpg/mpg.h"

namespace {

std::vector<std::string> SegmentsOf(const std::string& folder) {
  std::vector<std::string> segments;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() == ".ts") segments.push_back(entry.path());
  }
  std::ranges::sort(segments);
  return segments;
}

// What the concat demuxer reads.
void WriteList(const std::string& path, const std::vector<std::string>& segments) {
  std::ofstream list(path);
  for (const std::string& segment : segments) {
    list << "file '" << std::filesystem::absolute(segment).string() << "'\n";
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: concat_bench SEGMENTS FOLDER [ROUNDS]\n");
    return 2;
  }
  const std::string folder = argv[2];
  const std::string output = folder + "/joined.mp4";
  const int rounds = argc > 3 ? std::atoi(argv[3]) : 5;
  const std::vector<std::string> segments = SegmentsOf(argv[1]);
  const std::string list = std::string(argv[1]) + "/list.txt";
  WriteList(list, segments);
  std::vector<const char*> paths;
  for (const std::string& segment : segments) paths.push_back(segment.c_str());
  paths.push_back(nullptr);

  std::printf("%zu segments\n", segments.size());
  bench::Run(
      {{"MPG_Merge", [&] { return MPG_Merge(paths.data(), output.c_str(), 0, 0, nullptr, 0); }},
       bench::Command("ffmpeg concat demuxer",
                      "ffmpeg -v quiet -y -f concat -safe 0 -i " + list + " -c copy " + output),
       bench::Command("cat", "cat " + std::string(argv[1]) + "/*.ts >" + output + "; true")},
      rounds, "rm -f " + folder + "/*; sync; sleep 0.3");
}
