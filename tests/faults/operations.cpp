#include "faults/operations.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "mpg/mpg.h"
#include "support/media.h"

namespace test {
namespace {

using Paths = std::vector<std::string>;

Outcome Code(std::int32_t result) {
  return {.isSuccess = result == 0, .answer = result == 0 ? "" : std::to_string(result)};
}

Outcome Flag(std::uint32_t result) {
  return {.isSuccess = result != 0};
}

// The text must outlive it.
HostString View(const std::string& text) {
  // Behind a pointer whatever their length: as long as the capacity says so.
  return {.characters = {.pointer = text.c_str()},
          .length = text.size(),
          .capacity = std::max<std::uint64_t>(text.size(), 16)};
}

Outcome Transcode(const Paths& in, const std::string& out, const TranscodeParams& params) {
  const HostString input = View(in[0]);
  const HostString output = View(out);
  return Code(MPG_Transcode(&input, &output, &params, nullptr, 0));
}

Outcome Join(const Paths& in, const std::string& out) {
  return Code(MPG_MergeAV(in[0].c_str(), in[1].c_str(), out.c_str(), nullptr, 0));
}

Outcome Merge(const Paths& in, const std::string& out) {
  std::vector<const char*> list;
  for (const std::string& path : in) list.push_back(path.c_str());
  list.push_back(nullptr);
  return Code(MPG_Merge(list.data(), out.c_str(), 1, 1, nullptr, 0));
}

Outcome Repair(const Paths& in, const std::string& /*out*/) {
  return Code(FLV_FixDuration(in[0].c_str()));
}

Outcome Mp3(const Paths& in, const std::string& out) {
  return Code(MP3_Convert(in[0].c_str(), out.c_str(), 0, nullptr, 0));
}

Outcome Remux(const Paths& in, const std::string& out) {
  return Transcode(in, out, {.formatId = MPG_FORMAT_TS});
}

Outcome Reencode(const Paths& in, const std::string& out) {
  return Transcode(in, out,
                   {.formatId = MPG_FORMAT_AVI, .targetVideoCodec = 6, .targetHeight = 32});
}

Outcome Trim(const Paths& in, const std::string& out) {
  return Code(MPG_SaveTrimmedVideo(in[0].c_str(), out.c_str(), 0, 1));
}

Outcome Crop(const Paths& in, const std::string& out) {
  return Code(MPG_Crop(in[0].c_str(), out.c_str()));
}

Outcome Shift(const Paths& in, const std::string& out) {
  return Code(MPG_ShiftAudio(in[0].c_str(), out.c_str(), 99, nullptr, 0));
}

template <ImageFormat kFormat, int kPosition>
Outcome Image(const Paths& in, const std::string& out) {
  return Flag(MPG_GetImageP(kFormat, in[0].c_str(), out.c_str(), kPosition, 0, 100));
}

Outcome Sample(const Paths& in, const std::string& out) {
  return Flag(MPG_GetImageJPG(in[0].c_str(), out.c_str(), 1, 30));
}

Outcome Bitmap(const Paths& in, const std::string& /*out*/) {
  std::uint32_t size = 0;
  // Memory may run out where it is copied.
  const std::unique_ptr<void, decltype(&std::free)> bitmap(
      MPG_GetImageBMP(in[0].c_str(), 1, &size, 30), &std::free);
  return {bitmap != nullptr, std::string(static_cast<const char*>(bitmap.get()), size)};
}

Outcome IsGoodFile(const Paths& in, const std::string& /*out*/) {
  return Flag(MPG_IsThisGoodFile(in[0].c_str()));
}

Outcome Information(const Paths& in, const std::string& /*out*/) {
  MediaInfo info{};
  const bool isSuccess = MPG_GetMediaInfo(in[0].c_str(), &info) != 0;
  return {isSuccess, std::string(reinterpret_cast<const char*>(&info), sizeof info)};
}

Outcome Decision(const Paths& in, const std::string& /*out*/) {
  MergeDecision decision{};
  Outcome outcome = Code(MPG_MergeOP2(in[0].c_str(), in[1].c_str(), &decision));
  if (outcome.isSuccess) outcome.answer = decision.extension;
  return outcome;
}

std::vector<Operation> MakeOperations() {
  // Large enough for several pieces of the output.
  const std::string video =
      MakeMedia("noise.mp4",
                "-f lavfi -i testsrc2=size=320x240:rate=25,noise=alls=60 -t 2 -c:v libx264 "
                "-preset ultrafast -qp 16 -bf 2 -g 25");
  const std::string audio = AacAudio();
  const std::string film = MakeMedia("noise-film.mp4", "-i " + video + " -i " + audio + " -c copy");
  const std::string mpeg4 = MakeMedia(
      "small.mp4", "-f lavfi -i testsrc2=size=64x48:rate=25 -f lavfi -i sine -t 1 -c:v mpeg4");
  const std::string flv = MakeMedia("film.flv", "-i " + film + " -c copy");
  Paths segments;
  for (const char* start : {"0", "1", "2"}) {
    segments.push_back(
        MakeMedia(std::string("part") + start + ".ts",
                  std::string("-i ") + film + " -t 1 -c copy -output_ts_offset " + start));
  }
  return {
      {"information", {film}, "", Fate::kWhatItWas, Information},
      {"good file", {film}, "", Fate::kWhatItWas, IsGoodFile},
      {"decision", {video, audio}, "", Fate::kWhatItWas, Decision},
      {"join", {video, audio}, "mp4", Fate::kKept, Join},
      {"re-encoding join", {mpeg4, OpusAudio()}, "mp4", Fate::kKept, Join},
      {"segments", segments, "mp4", Fate::kDeleted, Merge, true},
      {"repair", {flv}, "", Fate::kRestored, Repair},
      {"mp3", {audio}, "mp3", Fate::kKept, Mp3},
      {"remux", {film}, "ts", Fate::kDeleted, Remux},
      {"transcode", {mpeg4}, "avi", Fate::kDeleted, Reencode},
      {"trim", {mpeg4}, "mp4", Fate::kDeleted, Trim},
      {"crop", {film}, "mp4", Fate::kDeleted, Crop},
      {"shift", {film}, "mp4", Fate::kDeleted, Shift},
      {"bmp", {film}, "bmp", Fate::kDeleted, Image<MPG_IMAGE_BMP, 0>},
      {"ppm by percent", {film}, "ppm", Fate::kDeleted, Image<MPG_IMAGE_PPM, 30>},
      {"jpeg", {film}, "jpg", Fate::kDeleted, Image<MPG_IMAGE_JPEG, 0>},
      {"jpeg by second", {film}, "jpg", Fate::kKept, Sample},
      {"bitmap", {film}, "", Fate::kWhatItWas, Bitmap},
  };
}

}  // namespace

const std::vector<Operation>& Operations() {
  static const std::vector<Operation> operations = MakeOperations();
  return operations;
}

std::vector<int> Places(int calls) {
  constexpr int kSpread = 6;
  constexpr int kLast = 4;
  const char* const sweep = std::getenv("MPG_SWEEP");
  const bool isWhole = sweep != nullptr && std::string_view(sweep) == "whole";
  const int step = isWhole ? 1 : std::max(1, calls / kSpread);
  std::vector<int> places;
  for (int place = 1; place <= calls; ++place) {
    if ((place - 1) % step == 0 || place > calls - kLast) places.push_back(place);
  }
  return places;
}

}  // namespace test
