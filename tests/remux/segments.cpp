#include "remux/segments.h"

#include <filesystem>
#include <stdexcept>

#include "mpg/mpg.h"
#include "support/media.h"
#include "support/process.h"

namespace test {

int Merge(const Paths& segments, const std::string& output, const MergeOptions& options) {
  std::vector<const char*> list;
  for (const std::string& segment : segments) list.push_back(segment.c_str());
  list.push_back(nullptr);
  return MPG_Merge(list.data(), output.c_str(), options.deleteSegments ? 1 : 0,
                   options.closeGaps ? 1 : 0,
                   options.log == nullptr ? nullptr : ProgressLog::Callback,
                   options.log == nullptr ? 0 : options.log->Context());
}

void Ffmpeg(const std::string& arguments) {
  const ProcessResult result = RunProgram("ffmpeg -v error -y " + arguments);
  if (result.status != 0) throw std::runtime_error(arguments + ": " + result.output);
}

std::string FilmToCut(const std::string& frameOptions) {
  return MakeMedia("film.mp4",
                   "-f lavfi -i testsrc2=size=160x120:rate=25 -f lavfi -i "
                   "sine=frequency=440:sample_rate=48000 -ac 2 -t 6 -c:v libx264 -preset "
                   "veryfast -g 50 -sc_threshold 0 -c:a aac -b:a 96k " +
                       frameOptions);
}

Paths Cut(const ScratchFolder& folder, const std::string& film, const std::string& options,
          const std::string& extension) {
  Ffmpeg("-i " + film + " -c copy " + options + " " + (folder / ("%d." + extension)));
  Paths paths;
  for (int i = 0; std::filesystem::exists(folder / (std::to_string(i) + "." + extension)); ++i) {
    paths.push_back(folder / (std::to_string(i) + "." + extension));
  }
  return paths;
}

}  // namespace test
