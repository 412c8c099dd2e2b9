#include "media/avi_ticks.h"

#include <algorithm>
#include <utility>

#include "media/codec.h"
#include "media/ffmpeg_versions.h"
#include "media/timestamps.h"

namespace mpg {
namespace {

// A stream without any packet must not hold up the others for ever.
constexpr std::size_t kMostWaiting = 300;

// Audio in frames of one length, a chunk each. What a source says of bytes would make players count
// bytes instead.
bool HasFramePerChunk(AVCodecID codecId) {
  constexpr AVCodecID kFramed[] = {AV_CODEC_ID_MP2, AV_CODEC_ID_MP3,  AV_CODEC_ID_AAC,
                                   AV_CODEC_ID_AC3, AV_CODEC_ID_EAC3, AV_CODEC_ID_DTS};
  return std::ranges::count(kFramed, codecId) > 0;
}

CodecPtr OpenSilenceEncoder(const AVCodecParameters& parameters, const AVOutputFormat& muxer) {
  CodecPtr encoder = MakeEncoder(parameters.codec_id);
  encoder->sample_rate = parameters.sample_rate;
  const std::span<const AVSampleFormat> formats = SampleFormats(*encoder->codec);
  encoder->sample_fmt = formats.empty() ? AV_SAMPLE_FMT_S16 : formats.front();
  encoder->bit_rate = parameters.bit_rate;
  encoder->time_base = {1, parameters.sample_rate};
  av_channel_layout_default(&encoder->ch_layout, parameters.ch_layout.nb_channels);
  OpenEncoder(*encoder, muxer);
  return encoder;
}

FramePtr MakeSilentFrame(const AVCodecContext& encoder, int samples) {
  FramePtr frame = MakeFrame();
  frame->nb_samples = samples;
  frame->format = encoder.sample_fmt;
  frame->sample_rate = encoder.sample_rate;
  Check(av_channel_layout_copy(&frame->ch_layout, &encoder.ch_layout));
  Check(av_frame_get_buffer(frame.get(), 0));
  Check(av_samples_set_silence(frame->extended_data, 0, samples, encoder.ch_layout.nb_channels,
                               encoder.sample_fmt));
  return frame;
}

// About that many samples, in whole frames where the codec has frames of one length.
std::deque<PacketPtr> MakeSilence(const AVCodecParameters& parameters, const AVOutputFormat& muxer,
                                  std::int64_t samples) {
  constexpr int kFreeFrameSize = 4096;
  const CodecPtr encoder = OpenSilenceEncoder(parameters, muxer);
  const bool isFramed = encoder->frame_size > 0;
  const int size = isFramed ? encoder->frame_size : kFreeFrameSize;
  const std::int64_t count = isFramed ? (samples + size / 2) / size : (samples + size - 1) / size;
  std::deque<PacketPtr> silence;
  const auto receive = [&] {
    PacketPtr packet = MakePacket();
    while (avcodec_receive_packet(encoder.get(), packet.get()) >= 0) {
      silence.push_back(std::exchange(packet, MakePacket()));
    }
  };
  for (std::int64_t i = 0; i < count; ++i) {
    const std::int64_t left = samples - i * size;
    const FramePtr frame = MakeSilentFrame(
        *encoder, isFramed ? size : static_cast<int>(std::min<std::int64_t>(left, size)));
    frame->pts = i * size;
    Check(avcodec_send_frame(encoder.get(), frame.get()));
    receive();
  }
  Check(avcodec_send_frame(encoder.get(), nullptr));
  receive();
  // Encoders that look ahead give a frame more than they got.
  while (std::ssize(silence) > count) silence.pop_back();
  return silence;
}

PacketPtr MakeEmptyFrame() {
  PacketPtr packet = MakePacket();
  Check(av_new_packet(packet.get(), 0));
  return packet;
}

}  // namespace

AviTicks::AviTicks(AVFormatContext& format) : format_(&format), tracks_(format.nb_streams) {
  format.avoid_negative_ts = 0;
  for (unsigned i = 0; i < format.nb_streams; ++i) {
    AVCodecParameters& parameters = *format.streams[i]->codecpar;
    if (HasFramePerChunk(parameters.codec_id)) parameters.block_align = 0;
  }
}

bool AviTicks::HaveAllStarted() const {
  return std::ranges::all_of(tracks_, [](const Track& track) { return IsKnown(track.start); });
}

void AviTicks::Put(AVPacket& packet) {
  if (!IsKnown(packet.dts)) packet.dts = packet.pts;
  Track& track = tracks_[static_cast<std::size_t>(packet.stream_index)];
  if (!IsKnown(track.start) && IsKnown(packet.dts)) {
    track.start = IsKnown(packet.pts) ? std::max(packet.pts, packet.dts) : packet.dts;
    track.lag = track.start - packet.dts;
    if (hasBegun_) FillStart(*format_->streams[packet.stream_index], track);
  }
  queue_.push_back(MakePacket());
  av_packet_move_ref(queue_.back().get(), &packet);
  if (!hasBegun_ && (HaveAllStarted() || queue_.size() >= kMostWaiting)) Begin();
}

void AviTicks::End() {
  if (!hasBegun_) Begin();
}

// The stream that starts first starts the file.
void AviTicks::Begin() {
  hasBegun_ = true;
  int first = -1;
  const auto timeBase = [this](int stream) { return format_->streams[stream]->time_base; };
  const auto start = [this](int stream) { return tracks_[static_cast<std::size_t>(stream)].start; };
  const int streams = static_cast<int>(tracks_.size());
  for (int i = 0; i < streams; ++i) {
    if (!IsKnown(start(i))) continue;
    if (first < 0 || av_compare_ts(start(i), timeBase(i), start(first), timeBase(first)) < 0) {
      first = i;
    }
  }
  if (first < 0) return;
  for (int i = 0; i < streams; ++i) {
    Track& track = tracks_[static_cast<std::size_t>(i)];
    track.offset = RescaleTime(start(first), timeBase(first), timeBase(i));
    if (IsKnown(track.start)) FillStart(*format_->streams[i], track);
  }
}

void AviTicks::FillStart(const AVStream& stream, const Track& track) {
  const bool isAudio = stream.codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
  const AVRational clock{1, stream.codecpar->sample_rate};
  const std::int64_t ticks = track.start - track.offset;
  if (ticks <= 0) return;
  std::deque<PacketPtr> filling;
  if (isAudio) {
    filling = MakeSilence(*stream.codecpar, *format_->oformat,
                          av_rescale_q(ticks, stream.time_base, clock));
  } else {
    // The muxer repeats it up to the first frame.
    filling.push_back(MakeEmptyFrame());
  }
  std::int64_t time = track.offset - track.lag;
  for (PacketPtr& packet : filling) {
    packet->stream_index = stream.index;
    packet->pts = packet->dts = time;
    if (isAudio) time += RescaleTime(packet->duration, clock, stream.time_base);
    filling_.push_back(std::move(packet));
  }
}

bool AviTicks::Take(AVPacket& packet) {
  std::deque<PacketPtr>& from = filling_.empty() ? queue_ : filling_;
  if (!hasBegun_ || from.empty()) return false;
  av_packet_move_ref(&packet, from.front().get());
  from.pop_front();
  if (IsKnown(packet.dts)) PutOnTick(packet);
  return true;
}

void AviTicks::PutOnTick(AVPacket& packet) {
  const AVStream& stream = *format_->streams[packet.stream_index];
  Track& track = tracks_[static_cast<std::size_t>(packet.stream_index)];
  const std::int64_t next = track.last + 1;
  std::int64_t tick = std::max(packet.dts + track.lag - track.offset, next);
  // Rounding of frames' times is no gap.
  if (HasFramePerChunk(stream.codecpar->codec_id) && tick == next + 1) tick = next;
  track.last = tick;
  packet.dts = tick;
  packet.pts = tick;
}

}  // namespace mpg
