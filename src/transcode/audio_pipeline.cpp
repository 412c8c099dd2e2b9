#include "transcode/audio_pipeline.h"

#include <algorithm>
#include <utility>

#include "media/timestamps.h"

namespace mpg {
namespace {

// For encoders that take frames of any size.
constexpr int kFreeFrameSize = 1024;

FramePtr MakeAudioFrame(const AVCodecContext& codec, int samples) {
  FramePtr frame = MakeFrame();
  frame->nb_samples = samples;
  frame->format = codec.sample_fmt;
  frame->sample_rate = codec.sample_rate;
  Check(av_channel_layout_copy(&frame->ch_layout, &codec.ch_layout));
  Check(av_frame_get_buffer(frame.get(), 0));
  return frame;
}

// Samples at the start of a packet that only prime the decoder.
std::int64_t PrimingSamples(const AVPacket& packet) {
  std::size_t size = 0;
  const std::uint8_t* const data =
      av_packet_get_side_data(&packet, AV_PKT_DATA_SKIP_SAMPLES, &size);
  if (data == nullptr || size < 4) return 0;
  return std::int64_t{data[0]} | data[1] << 8 | data[2] << 16 | std::int64_t{data[3]} << 24;
}

// The AC-3, DTS and ADTS parsers have codes of their own for broken headers, which their decoders
// let through.
int WithoutParserCodes(int result) {
  constexpr int kParserCode = 0x30c0a;
  const bool isParserCode = result < 0 && (-std::int64_t{result} & 0xffffff) == kParserCode;
  return isParserCode ? AVERROR_INVALIDDATA : result;
}

void MoveBehind(std::int64_t& time, std::int64_t last) {
  if (last != kNotYet && time <= last) time = last + 1;
}

}  // namespace

AudioPipeline::AudioPipeline(AudioReencode& audio, Output& output, int toleratedBadPackets,
                             std::int64_t origin)
    : audio_(audio),
      output_(output),
      encoded_(LayoutOf(*audio.encoder)),
      knowsOrigin_(IsKnown(origin)),
      origin_(knowsOrigin_ ? origin : 0),
      toleratedBadPackets_(toleratedBadPackets) {
  decoded_ = LayoutOf(*audio.decoder, encoded_);
  auto [resampler, fifo] = CreateResamplerAndFifo(*audio.decoder, *audio.encoder);
  resampler_ = std::move(resampler);
  fifo_ = std::move(fifo);
  encoderFrame_ = MakeAudioFrame(*audio.encoder, FrameSize());
  audio_.input.SelectStreams(*audio_.source);
}

void AudioPipeline::KeepTogetherWith(int stream) {
  const bool mayJump = (audio_.input.Context()->iformat->flags & AVFMT_TS_DISCONT) != 0;
  if (mayJump) audio_.input.SelectStreams({audio_.source->index, stream});
}

int AudioPipeline::FrameSize() const {
  return audio_.encoder->frame_size > 0 ? audio_.encoder->frame_size : kFreeFrameSize;
}

bool AudioPipeline::ProducePiece() {
  bool finished = false;
  while (!finished && BufferedSamples() < FrameSize()) Fill(finished);
  while (BufferedSamples() >= FrameSize() || (finished && BufferedSamples() > 0)) {
    Check(EncodeAndWrite());
  }
  if (finished) Drain();
  return !finished;
}

void AudioPipeline::Fill(bool& finished) {
  const int result = DecodeAndBuffer(finished);
  if (finished && result == AVERROR_EOF) return;
  if (result == AVERROR_INVALIDDATA && toleratedBadPackets_-- > 0) return;
  Check(result);
}

void AudioPipeline::Drain() {
  bool dataPresent = true;
  while (dataPresent) Check(EncodeAudioFrame(nullptr, dataPresent));
}

int AudioPipeline::DecodeAudioFrame(AVFrame& frame, bool& dataPresent, bool& finished) {
  dataPresent = false;
  // A packet may hold several frames, and a decoder takes none before those are out.
  int result = avcodec_receive_frame(audio_.decoder.get(), &frame);
  if (result == AVERROR(EAGAIN)) {
    result = SendNextPacket();
    if (result < 0) return result;
    result = avcodec_receive_frame(audio_.decoder.get(), &frame);
  }
  if (result == AVERROR(EAGAIN)) return 0;
  if (result == AVERROR_EOF) finished = true;
  if (result < 0) return result;
  dataPresent = true;
  return 0;
}

// At the end of the input the decoder is told so; what it still holds comes then.
int AudioPipeline::SendNextPacket() {
  int result = ReadAudio();
  if (result < 0 && result != AVERROR_EOF) return result;
  const bool isEnd = result == AVERROR_EOF;
  if (!isEnd && timing_.currentPts == kNotYet && !knowsOrigin_) LearnPriming(*packet_);
  result = avcodec_send_packet(audio_.decoder.get(), isEnd ? nullptr : packet_.get());
  av_packet_unref(packet_.get());
  return result == AVERROR_EOF ? 0 : result;
}

int AudioPipeline::ReadAudio() {
  for (;;) {
    const int result = audio_.input.Read(*packet_);
    if (result < 0) return result;
    const AVStream& stream =
        *audio_.input.Streams()[static_cast<std::size_t>(packet_->stream_index)];
    clock_.Follow(*packet_, stream);
    if (packet_->stream_index == audio_.source->index) return 0;
  }
}

// Most containers put the samples that only prime the decoder before time 0; MP3 files count them
// from 0 on, although nothing is heard there.
void AudioPipeline::LearnPriming(const AVPacket& packet) {
  const std::int64_t samples = PrimingSamples(packet);
  if (samples == 0 || !IsKnown(packet.pts) || packet.pts < 0) return;
  origin_ = av_rescale_q(samples, {1, decoded_.sampleRate}, audio_.source->time_base);
}

int AudioPipeline::DecodeAndBuffer(bool& finished) {
  bool dataPresent = false;
  int result = WithoutParserCodes(DecodeAudioFrame(*decodedFrame_, dataPresent, finished));
  if (finished) {
    const int flushed = Convert(nullptr);
    return flushed < 0 ? flushed : result;
  }
  if (result < 0 || !dataPresent) return result;
  result = FollowFormat(*decodedFrame_);
  if (result < 0) return result;
  FollowClock(*decodedFrame_);
  return Convert(decodedFrame_.get());
}

// What a decoder announces may differ from what it gives, and that may change on the way.
int AudioPipeline::FollowFormat(const AVFrame& frame) {
  const SampleLayout layout = LayoutOf(frame, decoded_);
  if (layout == decoded_) return 0;
  const int flushed = Convert(nullptr);
  if (flushed < 0) return flushed;
  resampler_ = CreateResampler(layout, encoded_);
  decoded_ = layout;
  return 0;
}

// In the encoder's time base, or AV_NOPTS_VALUE.
std::int64_t AudioPipeline::TimeOf(const AVFrame& frame) const {
  if (!IsSummable(frame.pts)) return AV_NOPTS_VALUE;
  const std::int64_t time =
      RescaleTime(frame.pts - origin_, audio_.source->time_base, audio_.encoder->time_base);
  return IsSummable(time) ? time : AV_NOPTS_VALUE;
}

// Time is counted in samples, because the time stamps of many containers are rounded. Where they
// leave that count by more than rounding they are right: after a gap, and when a clock drifts. A
// step back by whole frames has no place in the output, and the count goes on.
void AudioPipeline::FollowClock(const AVFrame& frame) {
  const std::int64_t time = TimeOf(frame);
  if (timing_.currentPts == kNotYet) timing_.currentPts = IsKnown(time) ? time : 0;
  if (!IsKnown(time)) return;
  const std::int64_t waiting =
      BufferedSamples() + swr_get_delay(resampler_.get(), encoded_.sampleRate);
  const std::int64_t lead = time - (timing_.currentPts + waiting);
  const std::int64_t tolerance = FrameSize() / 2;
  if (lead > tolerance || (lead < -tolerance && lead > -FrameSize())) timing_.currentPts += lead;
}

// Without a frame: what the resampler still holds.
int AudioPipeline::Convert(const AVFrame* frame) {
  const int samples = frame == nullptr ? 0 : frame->nb_samples;
  const int room = swr_get_out_samples(resampler_.get(), samples);
  if (room <= 0) return room;
  MakeRoom(room);
  const auto** const source =
      frame == nullptr ? nullptr : const_cast<const std::uint8_t**>(frame->extended_data);
  const int produced =
      swr_convert(resampler_.get(), converted_->extended_data, room, source, samples);
  if (produced <= 0) return produced;
  const int written = av_audio_fifo_write(
      fifo_.get(), reinterpret_cast<void**>(converted_->extended_data), produced);
  if (written < 0) return written;
  return written < produced ? AVERROR_EXIT : 0;
}

void AudioPipeline::MakeRoom(int samples) {
  if (converted_ != nullptr && converted_->nb_samples >= samples) return;
  converted_ = MakeAudioFrame(*audio_.encoder, samples);
}

int AudioPipeline::EncodeAndWrite() {
  AVFrame& frame = *encoderFrame_;
  frame.nb_samples = FrameSize();
  // The encoder may still refer to the last frame's samples.
  const int result = av_frame_make_writable(&frame);
  if (result < 0) return result;
  frame.nb_samples = std::min(FrameSize(), BufferedSamples());
  const int read = av_audio_fifo_read(fifo_.get(), reinterpret_cast<void**>(frame.extended_data),
                                      frame.nb_samples);
  if (read < frame.nb_samples) return AVERROR_EXIT;
  bool dataPresent = false;
  return EncodeAudioFrame(&frame, dataPresent);
}

int AudioPipeline::EncodeAudioFrame(AVFrame* frame, bool& dataPresent) {
  dataPresent = false;
  if (frame != nullptr) {
    frame->pts = timing_.currentPts;
    MoveBehind(frame->pts, timing_.lastFramePts);
    timing_.lastFramePts = frame->pts;
    timing_.currentPts = frame->pts + frame->nb_samples;
  }
  int result = avcodec_send_frame(audio_.encoder.get(), frame);
  while (result == AVERROR(EAGAIN)) {
    // Full: it takes the frame once a packet is out.
    result = ReceiveAndWrite(dataPresent);
    if (result < 0) return result;
    result = avcodec_send_frame(audio_.encoder.get(), frame);
  }
  const bool wasDraining = frame == nullptr && result == AVERROR_EOF;
  if (result < 0 && !wasDraining) return result;
  return ReceiveAndWrite(dataPresent);
}

int AudioPipeline::ReceiveAndWrite(bool& dataPresent) {
  const int result = avcodec_receive_packet(audio_.encoder.get(), packet_.get());
  if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return 0;
  if (result < 0) return result;
  dataPresent = true;
  return WritePacket();
}

int AudioPipeline::WritePacket() {
  AVPacket& packet = *packet_;
  RescalePacket(packet, audio_.encoder->time_base, audio_.target->time_base);
  packet.stream_index = audio_.target->index;
  packet.pos = -1;
  if (IsKnown(packet.pts)) {
    MoveBehind(packet.pts, timing_.lastPacketPts);
    timing_.lastPacketPts = packet.pts;
  }
  if (IsKnown(packet.dts)) {
    MoveBehind(packet.dts, timing_.lastPacketDts);
    timing_.lastPacketDts = packet.dts;
  }
  timing_.durationSum += packet.duration;
  return output_.Write(packet);
}

}  // namespace mpg
