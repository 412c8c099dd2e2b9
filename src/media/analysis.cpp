#include "media/analysis.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "media/codec.h"
#include "media/h264_sequence.h"
#include "media/timestamps.h"

namespace mpg {
namespace {

// What is read ahead stays in memory for as long as one file is copied.
constexpr std::int64_t kLargestFile = 32 << 20;

std::span<const std::uint8_t> ExtraData(const AVCodecParameters& parameters) {
  return {parameters.extradata, static_cast<std::size_t>(std::max(parameters.extradata_size, 0))};
}

bool IsVideo(const AVCodecParameters& parameters) {
  return parameters.codec_type == AVMEDIA_TYPE_VIDEO;
}

bool AreAlike(const AVCodecParameters& one, const AVCodecParameters& other) {
  return one.codec_id == other.codec_id && one.sample_rate == other.sample_rate &&
         DecodedChannels(one) == DecodedChannels(other) &&
         std::ranges::equal(ExtraData(one), ExtraData(other));
}

// Watches a stream of pictures for times that FFmpeg may have made or changed.
class AnnouncedTimes {
 public:
  AnnouncedTimes(std::span<const std::uint8_t> sequence, int delay)
      : sequence_(sequence), delay_(delay) {}

  bool Hold(const AVPacket& packet) {
    constexpr int kUnsound = AV_PKT_FLAG_CORRUPT | AV_PKT_FLAG_DISCARD;
    if (!mpg::IsKnown(packet.pts) || !mpg::IsKnown(packet.dts)) return false;
    if ((packet.flags & kUnsound) != 0 || packet.duration <= 0) return false;
    const bool isFirst = !mpg::IsKnown(last_);
    if (!isFirst && packet.dts <= last_) return false;
    last_ = packet.dts;
    const bool isTimely = delay_ == 0 ? packet.pts == packet.dts
                          : isFirst   ? packet.pts > packet.dts
                                      : packet.pts >= packet.dts;
    return isTimely &&
           KeepsSequence({packet.data, static_cast<std::size_t>(packet.size)}, sequence_);
  }

 private:
  std::span<const std::uint8_t> sequence_;
  int delay_;
  std::int64_t last_ = AV_NOPTS_VALUE;
};

bool AreSizesKnown(const Input& input) {
  return std::ranges::all_of(input.Streams(), [](const AVStream* stream) {
    return !IsVideo(*stream->codecpar) || stream->codecpar->width > 0;
  });
}

}  // namespace

Input OpenInput(const char* path, Analysis analysis) {
  OpenedFile file(path);
  if (analysis == Analysis::kWhole || !file.IsContainer("mp4")) return Input(std::move(file));
  std::optional<Input> input = Input::WithoutDecoding(std::move(file));
  if (input && AreSizesKnown(*input)) return std::move(*input);
  return Input(path);
}

Input AlikeFiles::Open(const char* path, Analysis analysis, std::span<const std::uint8_t> prefix) {
  OpenedFile opened(path, prefix);
  const bool isTried = most_ == Analysis::kAsKnown && analysis == Analysis::kAsKnown;
  if (isTried && MayBeKnown(opened)) {
    Input input(std::move(opened), delay_);
    if (IsKnown(input)) {
      input.TakeOver(known_);
      failures_ = 0;
      return input;
    }
    ++failures_;
    opened = OpenedFile(path, prefix);
  }
  Input input(std::move(opened));
  Learn(input);
  return input;
}

bool AlikeFiles::MayBeKnown(const OpenedFile& file) const {
  // Files that differ in a way that recurs aren't worth a second opening each.
  constexpr int kMostFailures = 3;
  if (known_.empty() || failures_ >= kMostFailures) return false;
  if (file.FileSize() > kLargestFile) return false;
  return std::ranges::equal(
      file.Streams(), known_, {}, [](const AVStream* stream) { return stream->codecpar->codec_id; },
      [](const KnownStream& known) { return known->codec_id; });
}

bool AlikeFiles::IsKnown(Input& input) const {
  if (input.FailedAnalysis()) return false;
  AnnouncedTimes times(sequence_, delay_);
  const bool areTimely = input.ReadAhead([&](const AVPacket& packet) {
    const auto index = static_cast<std::size_t>(packet.stream_index);
    return index < known_.size() && (!IsVideo(*known_[index]) || times.Hold(packet));
  });
  return areTimely && std::ranges::equal(input.Streams(), known_,
                                         [](const AVStream* stream, const KnownStream& known) {
                                           return AreAlike(*stream->codecpar, *known);
                                         });
}

void AlikeFiles::Learn(const Input& input) {
  if (most_ == Analysis::kWhole || !input.IsContainer("mpegts")) {
    return;
  }
  int videos = 0;
  int audios = 0;
  std::vector<KnownStream> known;
  std::span<const std::uint8_t> sequence;
  for (const AVStream* const stream : input.Streams()) {
    const AVCodecParameters& parameters = *stream->codecpar;
    if (IsVideo(parameters)) {
      if (parameters.codec_id != AV_CODEC_ID_H264) return;
      sequence = FindOnlySequence(ExtraData(parameters));
      if (AnnouncedDelay(sequence) != parameters.video_delay) return;
      ++videos;
    } else {
      // Its sound may lie behind what is examined, unlike that of the next file.
      if (parameters.sample_rate == 0) return;
      ++audios;
    }
    known.push_back(CopyParameters(parameters));
  }
  if (videos != 1 || audios > 1) return;
  const auto video =
      std::ranges::find_if(known, [](const auto& stream) { return IsVideo(*stream); });
  delay_ = (*video)->video_delay;
  sequence_.assign(sequence.begin(), sequence.end());
  known_ = std::move(known);
}

}  // namespace mpg
