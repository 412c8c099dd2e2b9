// Audio from an input through decoder, resampler, sample queue and encoder into an output.
#pragma once

#include <cstdint>

#include "media/continuous_clock.h"
#include "transcode/audio_reencode.h"

namespace mpg {

/// Stands for a time that isn't known yet.
inline constexpr std::int64_t kNotYet = -2;

/// Packets of one input that the decoder may refuse as invalid where an operation goes on behind
/// damage.
inline constexpr int kToleratedBadPackets = 19;

/// Where the audio is. Frames' times are counted in the encoder's time base, one tick a sample;
/// packets' in the output stream's.
struct StreamTimingRecord {
  std::int64_t lastFramePts = kNotYet;   // of the last frame given to the encoder
  std::int64_t currentPts = kNotYet;     // of the next: of the first sample that waits
  std::int64_t lastPacketPts = kNotYet;  // of the last packet written
  std::int64_t lastPacketDts = kNotYet;
  std::int64_t durationSum = 0;  // of all packets written
};

/// Decodes and encodes as much at a time as one encoder frame needs, so that another stream can be
/// written in between.
class AudioPipeline {
 public:
  /// The encoder is open. `toleratedBadPackets`: packets that the decoder may refuse as invalid
  /// before ProducePiece fails. `origin`: the input's time that becomes 0, in its stream's time
  /// base; where it isn't known, times stay as they are. Throws Error. Audio and output must
  /// outlive the pipeline.
  AudioPipeline(AudioReencode& audio, Output& output, int toleratedBadPackets = 0,
                std::int64_t origin = AV_NOPTS_VALUE);

  /// Before the first step: reads this stream of the input, too, so that the audio follows the
  /// jumps of its clock.
  void KeepTogetherWith(int stream);

  /// Decodes until the encoder can get at least one frame more, at the end of the input until it
  /// gave everything away. False at the end. Throws Error.
  bool ProducePiece();

  const StreamTimingRecord& Timing() const { return timing_; }

 private:
  // Samples of an encoder frame.
  int FrameSize() const;
  int BufferedSamples() const { return av_audio_fifo_size(fifo_.get()); }
  void Fill(bool& finished);
  void Drain();

  // The steps. Their results are 0 or a negative code.
  //
  // Takes a frame from the decoder, or reads the next packet for it. dataPresent: there is a frame.
  // At the end of the input: AVERROR_EOF, and finished is set.
  [[nodiscard]] int DecodeAudioFrame(AVFrame& frame, bool& dataPresent, bool& finished);
  // Puts the converted samples into the queue; at the end of the input also those that the
  // resampler still holds.
  [[nodiscard]] int DecodeAndBuffer(bool& finished);
  // Takes a frame's worth of samples, or as many as there are, from the queue and encodes them.
  [[nodiscard]] int EncodeAndWrite();
  // Writes a packet where there is one; without a frame one of those that the encoder still holds.
  [[nodiscard]] int EncodeAudioFrame(AVFrame* frame, bool& dataPresent);

  int SendNextPacket();
  int ReadAudio();
  void LearnPriming(const AVPacket& packet);
  int FollowFormat(const AVFrame& frame);
  std::int64_t TimeOf(const AVFrame& frame) const;
  void FollowClock(const AVFrame& frame);
  int Convert(const AVFrame* frame);
  void MakeRoom(int samples);
  int ReceiveAndWrite(bool& dataPresent);
  int WritePacket();

  AudioReencode& audio_;
  Output& output_;
  StreamTimingRecord timing_;
  SampleLayout decoded_;
  const SampleLayout encoded_;
  ResamplerPtr resampler_;
  AudioFifoPtr fifo_;
  ContinuousClock clock_;
  PacketPtr packet_ = MakePacket();
  FramePtr decodedFrame_ = MakeFrame();
  FramePtr converted_;
  FramePtr encoderFrame_;
  const bool knowsOrigin_;
  std::int64_t origin_;  // input ticks that the output's times lie ahead of the input's
  int toleratedBadPackets_;
};

}  // namespace mpg
