#include "media/known_packets.h"

#include <algorithm>

#include "media/codec.h"
#include "media/h264_sequence.h"
#include "media/timestamps.h"

namespace mpg {
namespace {

std::span<const std::uint8_t> ExtraData(const AVCodecParameters& parameters) {
  return {parameters.extradata, static_cast<std::size_t>(parameters.extradata_size)};
}

// HEVC always announces its delay, of MPEG-2 it isn't read.
bool AnnouncesNoDelay(const AVCodecParameters& parameters, const FrameHeads& heads) {
  if (parameters.video_delay != 0) return false;
  if (parameters.codec_id == AV_CODEC_ID_HEVC) return true;
  return parameters.codec_id == AV_CODEC_ID_H264 && AnnouncedDelay(heads.OnlySequence()) == 0;
}

// What the decoder makes of a stream's first packet, as in FFmpeg's own analysis.
bool DecodesAlike(const KnownStream& known, const AVPacket& packet) try {
  const AVCodecParameters& parameters = *known.examined;
  const CodecPtr decoder = OpenDecoder(*known.opened);
  const FramePtr frame = MakeFrame();
  int frames = 0;
  if (DecodePacket(*decoder, &packet, *frame, [&frames] { ++frames; }) < 0) return false;
  return frames > 0 && decoder->sample_rate == parameters.sample_rate &&
         decoder->sample_fmt == parameters.format && decoder->frame_size == parameters.frame_size &&
         av_channel_layout_compare(&decoder->ch_layout, &parameters.ch_layout) == 0;
} catch (const Error& error) {
  if (error.Code() == AVERROR(ENOMEM)) throw;
  return false;
}

}  // namespace

KnownPackets::KnownPackets(const Input& input, std::span<const KnownStream> known) : input_(input) {
  for (std::size_t i = 0; i < known.size(); ++i) {
    Stream& stream = streams_.emplace_back(Stream{input.Streams()[i], &known[i]});
    const AVCodecParameters& parameters = *known[i].examined;
    if (parameters.codec_type != AVMEDIA_TYPE_VIDEO) continue;
    stream.heads.emplace(parameters.codec_id, ExtraData(parameters));
    stream.hasNoDelay = AnnouncesNoDelay(parameters, *stream.heads);
  }
}

bool KnownPackets::Hold(const AVPacket& packet) {
  constexpr int kUnsound = AV_PKT_FLAG_CORRUPT | AV_PKT_FLAG_DISCARD;
  const auto index = static_cast<std::size_t>(packet.stream_index);
  if (index >= streams_.size() || (packet.flags & kUnsound) != 0) return false;
  Stream& stream = streams_[index];
  size_ += packet.size;
  const AVMediaType type = stream.known->examined->codec_type;
  if (type == AVMEDIA_TYPE_VIDEO && !HoldVideo(stream, packet)) return false;
  if (type == AVMEDIA_TYPE_AUDIO && !HoldAudio(stream, packet)) return false;
  stream.isBegun = true;
  stream.lastTime = packet.dts;
  stream.duration = av_sat_add64(stream.duration, packet.duration);
  return true;
}

bool KnownPackets::HoldVideo(const Stream& stream, const AVPacket& packet) const {
  const FrameHeads::Bytes data(packet.data, static_cast<std::size_t>(packet.size));
  if (!stream.isBegun && !(IsSoonEnough() && stream.heads->HasAllSets(data))) return false;
  // From an unknown rate FFmpeg makes a tick.
  if (!IsKnown(packet.pts) || !IsKnown(packet.dts) || packet.duration <= 1) return false;
  if (stream.isBegun && packet.dts <= stream.lastTime) return false;
  switch (stream.heads->Read(data)) {
    case FrameHeads::Kind::kUnclear:
      return false;
    case FrameHeads::Kind::kB:
      // FFmpeg takes them for a delay.
      return !stream.hasNoDelay && packet.pts >= packet.dts;
    case FrameHeads::Kind::kOther:
      return packet.pts > packet.dts || (stream.hasNoDelay && packet.pts == packet.dts);
  }
  return false;
}

bool KnownPackets::HoldAudio(const Stream& stream, const AVPacket& packet) const {
  if (!IsKnown(packet.pts) || packet.duration <= 0) return false;
  if (stream.isBegun) return true;
  // Without a time of its own FFmpeg lets a stream begin at 0.
  return packet.pts != 0 && IsSoonEnough() && DecodesAlike(*stream.known, packet);
}

// A stream that begins behind what FFmpeg examines, 5 MB and 5 s, would stay unknown.
bool KnownPackets::IsSoonEnough() const {
  constexpr std::int64_t kBytes = 4'000'000;
  constexpr std::int64_t kSeconds = 4;
  return size_ <= kBytes && std::ranges::all_of(streams_, [](const Stream& stream) {
           return av_rescale_q(stream.duration, stream.stream->time_base, {1, 1}) < kSeconds;
         });
}

bool KnownPackets::AreComplete() const {
  return std::ranges::equal(input_.Streams(), streams_, [](const AVStream* now, const Stream& it) {
    const AVCodecParameters& known = *it.known->examined;
    const bool isMissing = known.codec_type != AVMEDIA_TYPE_DATA && !it.isBegun;
    return !isMissing && now->codecpar->codec_id == known.codec_id;
  });
}

}  // namespace mpg
