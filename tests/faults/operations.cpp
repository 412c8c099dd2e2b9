#include "faults/operations.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "mpg/mpg.h"

namespace test {
namespace {

using In = const std::vector<std::string>&;
using Out = const std::string&;

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

Outcome Transcode(In in, Out out, const TranscodeParams& params) {
  const HostString input = View(in[0]);
  const HostString output = View(out);
  return Code(MPG_Transcode(&input, &output, &params, nullptr, 0));
}

Outcome Merge(In in, Out out) {
  std::vector<const char*> list;
  for (const std::string& path : in) list.push_back(path.c_str());
  list.push_back(nullptr);
  return Code(MPG_Merge(list.data(), out.c_str(), 1, 1, nullptr, 0));
}

Outcome Bitmap(In in, Out /*out*/) {
  std::uint32_t size = 0;
  // Memory may run out where it is copied.
  const std::unique_ptr<void, decltype(&std::free)> bitmap(
      MPG_GetImageBMP(in[0].c_str(), 1, &size, 30), &std::free);
  return {bitmap != nullptr, std::string(static_cast<const char*>(bitmap.get()), size)};
}

Outcome Information(In in, Out /*out*/) {
  MediaInfo info;
  std::memset(&info, 0xFF, sizeof info);
  const bool isSuccess = MPG_GetMediaInfo(in[0].c_str(), &info) != 0;
  std::string bytes(reinterpret_cast<const char*>(&info), sizeof info);
  // A failure leaves zeros.
  if (!isSuccess && bytes.find_first_not_of('\0') == bytes.npos) bytes.clear();
  return {isSuccess, bytes};
}

Outcome AudioDuration(In in, Out /*out*/) {
  const std::int32_t seconds = MPG_GetAudioDuration(in[0].c_str());
  return {seconds > 0, seconds > 0 ? std::to_string(seconds) : ""};
}

Outcome Decision(In in, Out /*out*/) {
  MergeDecision decision{};
  Outcome outcome = Code(MPG_MergeOP2(in[0].c_str(), in[1].c_str(), &decision));
  if (outcome.isSuccess) outcome.answer = decision.extension;
  return outcome;
}

template <ImageFormat kFormat, int kPosition>
Outcome Image(In in, Out out) {
  return Flag(MPG_GetImageP(kFormat, in[0].c_str(), out.c_str(), kPosition, 0, 100));
}

const auto kIsGood = [](In in, Out) { return Flag(MPG_IsThisGoodFile(in[0].c_str())); };
const auto kJoin = [](In in, Out out) {
  return Code(MPG_MergeAV(in[0].c_str(), in[1].c_str(), out.c_str(), nullptr, 0));
};
const auto kRepair = [](In in, Out) { return Code(FLV_FixDuration(in[0].c_str())); };
const auto kMp3 = [](In in, Out out) {
  return Code(MP3_Convert(in[0].c_str(), out.c_str(), 0, nullptr, 0));
};
const auto kRemux = [](In in, Out out) { return Transcode(in, out, {.formatId = MPG_FORMAT_TS}); };
const auto kReencode = [](In in, Out out) {
  return Transcode(in, out,
                   {.formatId = MPG_FORMAT_AVI, .targetVideoCodec = 6, .targetHeight = 32});
};
const auto kTrim = [](In in, Out out) {
  return Code(MPG_SaveTrimmedVideo(in[0].c_str(), out.c_str(), 0, 1));
};
const auto kCrop = [](In in, Out out) { return Code(MPG_Crop(in[0].c_str(), out.c_str())); };
const auto kShift = [](In in, Out out) {
  return Code(MPG_ShiftAudio(in[0].c_str(), out.c_str(), 99, nullptr, 0));
};
const auto kSample = [](In in, Out out) {
  return Flag(MPG_GetImageJPG(in[0].c_str(), out.c_str(), 1, 30));
};

}  // namespace

std::vector<Operation> OperationsOn(const Media& media) {
  using enum Fate;
  return {
      {"information", {media.film}, "", kWhatItWas, Information},
      {"good file", {media.film}, "", kWhatItWas, kIsGood},
      {"audio duration", {media.film}, "", kWhatItWas, AudioDuration},
      {"decision", {media.video, media.audio}, "", kWhatItWas, Decision},
      {"join", {media.video, media.audio}, "mp4", kKept, kJoin},
      {"re-encoding join", {media.mpeg4, media.opus}, "mp4", kKept, kJoin},
      {"segments", media.parts, "mp4", kDeleted, Merge, true},
      {"repair", {media.flv}, "", kRestored, kRepair},
      {"mp3", {media.audio}, "mp3", kKept, kMp3},
      {"remux", {media.film}, "ts", kDeleted, kRemux},
      {"transcode", {media.mpeg4}, "avi", kDeleted, kReencode},
      {"trim", {media.mpeg4}, "mp4", kDeleted, kTrim},
      {"crop", {media.film}, "mp4", kDeleted, kCrop},
      {"shift", {media.film}, "mp4", kDeleted, kShift},
      {"bmp", {media.film}, "bmp", kDeleted, Image<MPG_IMAGE_BMP, 0>},
      {"ppm by percent", {media.film}, "ppm", kDeleted, Image<MPG_IMAGE_PPM, 30>},
      {"jpeg", {media.film}, "jpg", kDeleted, Image<MPG_IMAGE_JPEG, 0>},
      {"jpeg by second", {media.film}, "jpg", kKept, kSample},
      {"bitmap", {media.film}, "", kWhatItWas, Bitmap},
  };
}

}  // namespace test
