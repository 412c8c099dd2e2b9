#include "core/error.h"
#include "fuzz/scratch.h"
#include "fuzz/targets.h"
#include "platform/file.h"
#include "remux/flv_duration.h"
#include "remux/flv_tags.h"

namespace mpg::fuzz {

void FlvRepair(Input input) {
  const Scratch scratch("flv");
  const std::string path = scratch / "in.flv";
  WriteFile(path, input);
  const std::string before = ReadFile(path);

  std::optional<std::int64_t> mediaStart;
  try {
    platform::File file;
    Check(file.Open(path, platform::Access::kRead));
    mediaStart = FindFlvMediaStart(file);
  } catch (const Error&) {
  }
  if (mediaStart) {
    Require(*mediaStart >= 0 && *mediaStart <= std::ssize(input), "media starts in the file");
  }

  bool isRepaired = true;
  try {
    RepairFlvDuration(path.c_str());
  } catch (const Error&) {
    isRepaired = false;
  }
  const std::string after = ReadFile(path);
  Require(after.size() == before.size(), "the length stays");
  if (!isRepaired) Require(after == before, "a failure changes nothing");
  const std::size_t kept = mediaStart ? static_cast<std::size_t>(*mediaStart) : 0;
  Require(after.substr(kept) == before.substr(kept), "what lies behind the header stays");
  Require(!std::filesystem::exists(path + ".tmp"), "no temporary file is left");
}

}  // namespace mpg::fuzz
