#include "media/analysis.h"

#include <algorithm>
#include <utility>

#include "media/h264_description.h"
#include "media/known_packets.h"

namespace mpg {
namespace {

// What is read ahead stays in memory for as long as one file is copied.
constexpr std::int64_t kLargestFile = 32 << 20;

// Whose packets follow from their headers and the parameters alone.
bool IsAudioRead(AVCodecID codecId) {
  constexpr AVCodecID kCodecs[] = {AV_CODEC_ID_AAC, AV_CODEC_ID_MP2, AV_CODEC_ID_MP3,
                                   AV_CODEC_ID_AC3, AV_CODEC_ID_EAC3};
  return std::ranges::count(kCodecs, codecId) > 0;
}

bool IsFullyKnown(const AVCodecParameters& parameters) {
  switch (parameters.codec_type) {
    case AVMEDIA_TYPE_VIDEO:
      return FrameHeads::Exist(parameters.codec_id) && parameters.extradata_size > 0 &&
             parameters.width > 0 && parameters.format != AV_PIX_FMT_NONE;
    case AVMEDIA_TYPE_AUDIO:
      // Its audio may lie behind what is examined, unlike that of the next file.
      return IsAudioRead(parameters.codec_id) && parameters.sample_rate > 0;
    default:
      return parameters.codec_type == AVMEDIA_TYPE_DATA;
  }
}

bool MayBeRepeated(std::span<const KnownStream> known) {
  const auto isOf = [](AVMediaType type) {
    return [type](const KnownStream& stream) { return stream.examined->codec_type == type; };
  };
  return std::ranges::count_if(known, isOf(AVMEDIA_TYPE_VIDEO)) <= 1 &&
         std::ranges::count_if(known, isOf(AVMEDIA_TYPE_AUDIO)) <= 1 &&
         std::ranges::all_of(
             known, [](const KnownStream& stream) { return IsFullyKnown(*stream.examined); });
}

}  // namespace

Input OpenInput(const char* path, Analysis analysis) {
  return OpenInput(OpenedFile(path), path, analysis);
}

Input OpenInput(OpenedFile&& file, const char* path, Analysis analysis) {
  if (analysis == Analysis::kWhole || !file.IsContainer("mp4")) return Input(std::move(file));
  std::optional<Input> input = Input::WithoutDecoding(std::move(file));
  if (input && DescribeH264Streams(*input)) return std::move(*input);
  return Input(path);
}

Input AlikeFiles::Open(const char* path, Analysis analysis, std::span<const std::uint8_t> prefix) {
  OpenedFile file(path, prefix);
  if (most_ == Analysis::kAsKnown && analysis == Analysis::kAsKnown && MayBeKnown(file)) {
    std::optional<Input> input = OpenAsKnown(std::move(file));
    failures_ = input ? 0 : failures_ + 1;
    if (input) return std::move(*input);
    file = OpenedFile(path, prefix);
  }
  return OpenWhole(std::move(file));
}

bool AlikeFiles::MayBeKnown(const OpenedFile& file) const {
  // Files that differ in a way that recurs aren't worth a second opening each.
  constexpr int kMostFailures = 3;
  if (known_.empty() || failures_ >= kMostFailures || !file.IsContainer("mpegts")) return false;
  if (file.FileSize() > kLargestFile) return false;
  return std::ranges::equal(file.Streams(), known_,
                            [](const AVStream* stream, const KnownStream& known) {
                              return stream->codecpar->codec_id == known.opened->codec_id &&
                                     stream->codecpar->codec_tag == known.opened->codec_tag;
                            });
}

std::optional<Input> AlikeFiles::OpenAsKnown(OpenedFile&& file) {
  std::optional<Input> input = Input::AsKnown(std::move(file), known_);
  if (!input) return std::nullopt;
  KnownPackets packets(*input, known_);
  const bool areKnown =
      input->ReadAhead([&](const AVPacket& packet) { return packets.Hold(packet); });
  if (!areKnown || !packets.AreComplete()) return std::nullopt;
  input->TakeOver(known_);
  return input;
}

Input AlikeFiles::OpenWhole(OpenedFile&& file) {
  std::vector<KnownStream> known;
  for (const AVStream* const stream : file.Streams()) {
    known.push_back({.opened = CopyParameters(*stream->codecpar), .examined = nullptr});
  }
  Input input(std::move(file));
  const bool hasLaterStreams = input.Streams().size() != known.size();
  if (most_ != Analysis::kAsKnown || !input.IsContainer("mpegts") || hasLaterStreams) return input;
  for (const AVStream* const stream : input.Streams()) {
    known[static_cast<std::size_t>(stream->index)].examined = CopyParameters(*stream->codecpar);
  }
  if (MayBeRepeated(known)) known_ = std::move(known);
  return input;
}

}  // namespace mpg
