// MPG_Merge beside ffmpeg's concat demuxer and `cat` on the first segments of a folder.
//
//   concat_bench WORK SEGMENTS COUNT AIM FOLDER ROUNDS
//
// SEGMENTS: a folder of .ts files; AIM: the share of the concat demuxer's CPU time to stay within.
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

std::vector<std::string> SegmentsOf(const std::string& folder, std::size_t count) {
  std::vector<std::string> segments;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() == ".ts") segments.push_back(entry.path());
  }
  std::ranges::sort(segments);
  if (segments.size() < count) std::exit(1);
  segments.resize(count);
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
  if (argc != 7) {
    std::fprintf(stderr, "usage: concat_bench WORK SEGMENTS COUNT AIM FOLDER ROUNDS\n");
    return 2;
  }
  const std::string folder = argv[5];
  const std::string output = folder + "/joined.mp4";
  const std::vector<std::string> segments = SegmentsOf(argv[2], std::stoul(argv[3]));
  const std::string list = std::string(argv[2]) + "/list.txt";
  WriteList(list, segments);
  std::vector<const char*> paths;
  std::string words;
  for (const std::string& segment : segments) {
    paths.push_back(segment.c_str());
    words += segment + ' ';
  }
  paths.push_back(nullptr);

  bench::Run(
      {.work = argv[1],
       .contestants = {{"MPG_Merge",
                        [&] { return MPG_Merge(paths.data(), output.c_str(), 0, 0, nullptr, 0); }},
                       bench::Command(
                           "ffmpeg concat demuxer",
                           "ffmpeg -v quiet -y -f concat -safe 0 -i " + list + " -c copy " + output,
                           std::atof(argv[4])),
                       bench::Command("cat", "cat " + words + " >" + output + "; true")},
       .rounds = std::atoi(argv[6]),
       .before = bench::Rest(folder + "/*")});
}
