#include "media/h264_description.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "media/codec.h"

namespace mpg {
namespace {

using Bytes = std::span<const std::uint8_t>;

// FFmpeg decodes no more of a stream to learn what it is like.
constexpr int kMostDecoded = 20;

constexpr std::size_t kLengthSize = 4;

std::size_t ReadLength(Bytes at) {
  return std::size_t{at[0]} << 24 | std::size_t{at[1]} << 16 | std::size_t{at[2]} << 8 | at[3];
}

// Units with lengths of four bytes in front of them, as nearly all files have them.
bool HasUsualLengths(const AVCodecParameters& parameters) {
  const Bytes configuration(parameters.extradata,
                            static_cast<std::size_t>(std::max(parameters.extradata_size, 0)));
  return configuration.size() > 6 && configuration[0] == 1 && (configuration[4] & 3) == 3;
}

// Where the first slice's length stands. Nothing where a sequence parameter set comes before it, or
// no slice.
std::optional<std::size_t> FindSlice(Bytes packet) {
  constexpr int kTypeBits = 0x1F, kFirstSlice = 1, kLastSlice = 5, kSequence = 7;
  for (std::size_t at = 0; at + kLengthSize < packet.size();) {
    const int type = packet[at + kLengthSize] & kTypeBits;
    if (type >= kFirstSlice && type <= kLastSlice) return at;
    const std::size_t length = ReadLength(packet.subspan(at));
    if (type == kSequence || length > packet.size()) return std::nullopt;
    at += kLengthSize + length;
  }
  return std::nullopt;
}

Bytes Content(const AVPacket& packet) {
  return {packet.data, static_cast<std::size_t>(packet.size)};
}

// The packet up to a little of its first slice: more than any head of a slice has.
PacketPtr CutBehindHead(const AVPacket& packet, std::size_t sliceAt) {
  constexpr std::size_t kHead = 256;
  const Bytes content = Content(packet);
  const std::size_t left = content.size() - sliceAt - kLengthSize;
  const std::size_t length = std::min({ReadLength(content.subspan(sliceAt)), left, kHead});
  PacketPtr head = MakePacket();
  const std::size_t size = sliceAt + kLengthSize + length;
  Check(av_new_packet(head.get(), static_cast<int>(size)));
  std::ranges::copy(content.first(size), head->data);
  const std::array<std::uint8_t, kLengthSize> shortened = {
      0, 0, static_cast<std::uint8_t>(length >> 8), static_cast<std::uint8_t>(length & 0xFF)};
  std::ranges::copy(shortened, head->data + sliceAt);
  return head;
}

bool Describe(AVStream& stream, const AVPacket& head) {
  const CodecPtr decoder = OpenDecoder(*stream.codecpar);
  // Without memory for a frame it ends behind the head, and nobody needs to hear that it did.
  decoder->get_buffer2 = [](AVCodecContext*, AVFrame*, int) noexcept { return AVERROR(ENOSYS); };
  decoder->log_level_offset = AV_LOG_MAX_OFFSET;
  static_cast<void>(avcodec_send_packet(decoder.get(), &head));
  if (decoder->pix_fmt == AV_PIX_FMT_NONE || decoder->width <= 0) return false;

  const CodecParametersPtr learnt = CopyParameters(*stream.codecpar);
  Check(avcodec_parameters_from_context(learnt.get(), decoder.get()));
  AVCodecParameters& parameters = *stream.codecpar;
  parameters.format = learnt->format;
  parameters.width = learnt->width;
  parameters.height = learnt->height;
  parameters.sample_aspect_ratio = learnt->sample_aspect_ratio;
  parameters.color_range = learnt->color_range;
  parameters.color_primaries = learnt->color_primaries;
  parameters.color_trc = learnt->color_trc;
  parameters.color_space = learnt->color_space;
  parameters.chroma_location = learnt->chroma_location;
  parameters.bits_per_raw_sample = learnt->bits_per_raw_sample;
  parameters.profile = learnt->profile;
  parameters.level = learnt->level;
  parameters.video_delay = learnt->video_delay;
  return true;
}

// Looks at the packets as they come, until each stream has shown as many as would be decoded.
class Descriptions {
 public:
  explicit Descriptions(const Input& input) : packets_(input.Streams().size(), kMostDecoded) {
    for (const AVStream* const stream : input.Streams()) {
      if (stream->codecpar->codec_id != AV_CODEC_ID_H264) continue;
      packets_[static_cast<std::size_t>(stream->index)] = 0;
      isWell_ = isWell_ && HasUsualLengths(*stream->codecpar);
    }
  }

  bool AreComplete() const {
    return std::ranges::all_of(packets_, [](int packets) { return packets >= kMostDecoded; });
  }
  bool AreWell() const {
    return isWell_ && std::ranges::all_of(packets_, [](int packets) { return packets > 0; });
  }
  bool IsLost() const { return !isWell_; }

  void Take(const Input& input, const AVPacket& packet) {
    const auto index = static_cast<std::size_t>(packet.stream_index);
    if (index >= packets_.size() || packets_[index] >= kMostDecoded) return;
    const std::optional<std::size_t> slice = FindSlice(Content(packet));
    isWell_ = isWell_ && slice.has_value();
    if (isWell_ && packets_[index] == 0) {
      isWell_ = Describe(*input.Streams()[index], *CutBehindHead(packet, *slice));
    }
    ++packets_[index];
  }

 private:
  std::vector<int> packets_;  // of each stream so far
  bool isWell_ = true;
};

}  // namespace

bool DescribeH264Streams(Input& input) try {
  Descriptions descriptions(input);
  if (descriptions.IsLost()) return false;
  // A stream that begins late isn't worth more memory.
  constexpr int kMostPackets = 1000;
  for (int i = 0; i < kMostPackets && !descriptions.AreComplete(); ++i) {
    PacketPtr packet = MakePacket();
    if (input.ReadAhead(*packet) < 0) break;
    descriptions.Take(input, *packet);
    input.PutBack(std::move(packet));
    if (descriptions.IsLost()) return false;
  }
  return descriptions.AreWell() && input.FileError() == 0;
} catch (const Error& error) {
  if (error.Code() == AVERROR(ENOMEM)) throw;
  return false;
}

}  // namespace mpg
