#include "fuzz/targets.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "core/error.h"
#include "faults/operations.h"
#include "media/handles.h"
#include "platform/file.h"
#include "remux/flv_duration.h"
#include "remux/flv_tags.h"
#include "remux/segment_timing.h"

namespace mpg::fuzz {
namespace {

namespace fs = std::filesystem;

// Ends the process where an invariant is broken, so that the fuzzer keeps the input.
void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

// A folder of its own for the files of one input.
class Scratch {
 public:
  Scratch() { fs::create_directories(folder_); }
  ~Scratch() { fs::remove_all(folder_); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  std::string operator/(const std::string& name) const { return (folder_ / name).string(); }

 private:
  const fs::path folder_ =
      fs::temp_directory_path() / ("mpg-fuzz-" + std::to_string(std::random_device()()));
};

void WriteFile(const std::string& path, Input bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

std::vector<std::uint8_t> ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::size_t MediaStart(const std::string& path) {
  platform::File file;
  Require(file.Open(path, platform::Access::kRead) == 0, "the input can be read");
  return static_cast<std::size_t>(FindFlvMediaStart(file).value_or(0));
}

// Takes a number off the input; 0 behind its end.
template <class Number>
Number Next(Input& input) {
  Number number{};
  const std::size_t size = std::min(sizeof number, input.size());
  std::memcpy(&number, input.data(), size);
  input = input.subspan(size);
  return number;
}

// Ordinary times most often, any number now and then.
std::int64_t NextTime(Input& input) {
  switch (Next<std::uint8_t>(input) % 8) {
    case 0:
      return Next<std::int64_t>(input);
    case 1:
      return AV_NOPTS_VALUE;
    default:
      return Next<std::int16_t>(input);
  }
}

void ReadTimes(Input& input, AVPacket& packet) {
  packet.pts = NextTime(input);
  packet.dts = NextTime(input);
  packet.duration = Next<std::int16_t>(input);
  if (packet.pts == AV_NOPTS_VALUE) packet.pts = 0;
}

}  // namespace

void FlvRepair(Input input) {
  const Scratch scratch;
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
  Require(!fs::exists(path + ".tmp"), "no temporary file is left");
}

void SegmentTimes(Input input) {
  constexpr std::int64_t kLimit = std::numeric_limits<std::int64_t>::max();
  SegmentTimeline timeline(Next<std::uint8_t>(input) % 2 != 0, {1, 90000}, {1, 48000});
  std::optional<std::int64_t> last[2];
  const PacketPtr packet = MakePacket();
  while (!input.empty()) {
    const auto step = Next<std::uint8_t>(input);
    if (step % 8 == 0) {
      std::optional<SegmentTimeline::Start> starts[2];
      for (int i = 0; i < 2; ++i) {
        ReadTimes(input, *packet);
        if ((step >> (3 + i)) % 2 == 0) starts[i] = SegmentTimeline::StartOf(*packet);
      }
      timeline.BeginSegment(starts[0], starts[1]);
      continue;
    }
    ReadTimes(input, *packet);
    const auto kind = step % 2 == 0 ? SegmentTimeline::kVideo : SegmentTimeline::kAudio;
    timeline.Place(kind, *packet);
    Require(packet->pts >= packet->dts, "shown no earlier than decoded");
    Require(!last[kind] || packet->dts > *last[kind] || packet->dts == kLimit,
            "decoding times rise");
    last[kind] = packet->dts;
  }
}

void Operations(Input input) {
  const Scratch scratch;
  const std::string in = scratch / "in.mp4";
  const std::string out = scratch / "out.mp4";
  for (const test::Operation& operation : test::OperationsOn({in, in, in, in, in, in, {in, in}})) {
    if (operation.fate == test::Fate::kRestored) continue;  // a target of its own
    WriteFile(in, input);
    const bool isSuccess = operation.run(operation.inputs, out).isSuccess;
    const bool mustExist = isSuccess && *operation.extension != 0;
    const bool mayExist = mustExist || operation.fate == test::Fate::kKept;
    const bool exists = fs::remove(out);
    Require(exists ? mayExist : !mustExist, "an output, and only where one is promised");
    const bool mayBeGone = isSuccess && operation.deletesInputs;
    Require(mayBeGone || std::ranges::equal(ReadFile(in), input), "the input stays");
    fs::remove(in);
    Require(fs::is_empty(scratch / ""), "nothing else is left");
  }
}

}  // namespace mpg::fuzz
