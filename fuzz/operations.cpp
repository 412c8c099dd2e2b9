#include <vector>

#include "fuzz/scratch.h"
#include "fuzz/targets.h"
#include "mpg/mpg.h"

namespace mpg::fuzz {
namespace {

HostString View(const std::string& text) {
  HostString view{};
  view.characters.pointer = text.c_str();
  view.length = view.capacity = text.size();
  return view;
}

// Every operation on one file; each into an output that isn't there before.
using Operation = bool (*)(const std::string& in, const std::string& out);

const Operation kOperations[] = {
    [](const std::string& in, const std::string& out) {
      return MPG_MergeAV(in.c_str(), in.c_str(), out.c_str(), nullptr, 0) == 0;
    },
    [](const std::string& in, const std::string& out) {
      const char* const list[] = {in.c_str(), in.c_str(), nullptr};
      return MPG_Merge(list, out.c_str(), 0, 1, nullptr, 0) == 0;
    },
    [](const std::string& in, const std::string& out) {
      return MP3_Convert(in.c_str(), out.c_str(), 0, nullptr, 0) == 0;
    },
    [](const std::string& in, const std::string& out) {
      return MPG_SaveTrimmedVideo(in.c_str(), out.c_str(), 0, 1) == 0;
    },
    [](const std::string& in, const std::string& out) {
      return MPG_Crop(in.c_str(), out.c_str()) == 0;
    },
    [](const std::string& in, const std::string& out) {
      return MPG_ShiftAudio(in.c_str(), out.c_str(), -40, nullptr, 0) == 0;
    },
    [](const std::string& in, const std::string& out) {
      const HostString input = View(in);
      const HostString output = View(out);
      const TranscodeParams params = {.formatId = MPG_FORMAT_AVI};
      return MPG_Transcode(&input, &output, &params, nullptr, 0) == 0;
    },
    [](const std::string& in, const std::string& out) {
      return MPG_GetImageP(MPG_IMAGE_JPEG, in.c_str(), out.c_str(), 20, 48, 50) != 0;
    },
    [](const std::string& in, const std::string& out) {
      return MPG_GetImageJPG(in.c_str(), out.c_str(), 1, 48) != 0;
    },
};

}  // namespace

void Operations(Input input) {
  const Scratch scratch("operations");
  const std::string in = scratch / "in.mp4";
  const std::string out = scratch / "out.mp4";
  WriteFile(in, input);
  const std::string before = ReadFile(in);
  MediaInfo info;
  MPG_GetMediaInfo(in.c_str(), &info);
  for (const Operation operation : kOperations) {
    const bool isSuccess = operation(in, out);
    Require(!isSuccess || std::filesystem::exists(out), "success comes with an output");
    Require(ReadFile(in) == before, "the input stays");
    std::filesystem::remove(out);
    const auto files = std::filesystem::directory_iterator(scratch.Folder());
    Require(std::distance(begin(files), end(files)) == 1, "nothing else is left");
  }
}

}  // namespace mpg::fuzz
