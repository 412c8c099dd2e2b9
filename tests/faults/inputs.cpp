#include <filesystem>

#include "faults/operations.h"
#include "support/media.h"

namespace test {
namespace {

Media MakeAll() {
  Media media;
  // Large enough for several pieces of the output.
  media.video = MakeMedia("noise.mp4",
                          "-f lavfi -i testsrc2=size=320x240:rate=25,noise=alls=60 -t 2 -c:v "
                          "libx264 -preset ultrafast -qp 16 -bf 2 -g 25");
  media.audio = AacAudio();
  media.film = MakeMedia("noise-film.mp4", "-i " + media.video + " -i " + media.audio + " -c copy");
  media.mpeg4 = MakeMedia(
      "small.mp4", "-f lavfi -i testsrc2=size=64x48:rate=25 -f lavfi -i sine -t 1 -c:v mpeg4");
  media.opus = OpusAudio();
  media.flv = MakeMedia("film.flv", "-i " + media.film + " -c copy");
  for (const std::string start : {"0", "1", "2"}) {
    media.parts.push_back(MakeMedia(
        "part" + start + ".ts", "-i " + media.film + " -t 1 -c copy -output_ts_offset " + start));
  }
  return media;
}

}  // namespace

const std::vector<Operation>& Operations() {
  static const std::vector<Operation> operations = OperationsOn(MakeAll());
  return operations;
}

std::vector<std::string> CopyInputs(const Operation& operation, const std::string& prefix) {
  std::vector<std::string> copies;
  for (const std::filesystem::path medium : operation.inputs) {
    copies.push_back(prefix + std::to_string(copies.size()) + medium.extension().string());
    std::filesystem::copy_file(medium, copies.back());
  }
  return copies;
}

}  // namespace test
