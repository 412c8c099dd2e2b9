#include <algorithm>

#include "core/error.h"
#include "fuzz/scratch.h"
#include "fuzz/targets.h"
#include "platform/file.h"
#include "remux/flv_duration.h"
#include "remux/flv_tags.h"

namespace mpg::fuzz {
namespace {

std::size_t MediaStart(const std::string& path) {
  platform::File file;
  Require(file.Open(path, platform::Access::kRead) == 0, "the input can be read");
  return static_cast<std::size_t>(FindFlvMediaStart(file).value_or(0));
}

}  // namespace

void FlvRepair(Input input) {
  const Scratch scratch("flv");
  const std::string path = scratch / "in.flv";
  WriteFile(path, input);
  const std::size_t mediaStart = MediaStart(path);
  Require(mediaStart <= input.size(), "media starts in the file");
  // A failure changes nothing.
  std::size_t kept = mediaStart;
  try {
    RepairFlvDuration(path.c_str());
  } catch (const Error&) {
    kept = 0;
  }
  const std::vector<std::uint8_t> after = ReadFile(path);
  Require(after.size() == input.size(), "the length stays");
  Require(std::ranges::equal(Input(after).subspan(kept), input.subspan(kept)), "the rest stays");
  Require(!std::filesystem::exists(path + ".tmp"), "no temporary file is left");
}

}  // namespace mpg::fuzz
