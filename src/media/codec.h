// Decoders and what they are opened for.
#pragma once

#include "media/handles.h"

namespace mpg {

/// Opens FFmpeg's decoder for a stream. Throws Error: AVERROR_UNKNOWN when there is none, else
/// FFmpeg's code.
CodecPtr OpenDecoder(const AVCodecParameters& parameters);

/// Whether a decoder may use FFmpeg's own threads. Frames are the same, but those of the last few
/// packets, and their errors, show only with later packets or at draining.
enum class DecoderThreads { kOne, kAuto };

/// The same for packets that carry the stream's time stamps, so that frames carry them too, moved
/// on by what the decoder discards of them.
CodecPtr OpenDecoder(const AVStream& stream, DecoderThreads threads = DecoderThreads::kOne);

/// An encoder to be filled in and opened; throws Error(AVERROR_UNKNOWN) when FFmpeg has none, or
/// there is no codec.
CodecPtr MakeEncoder(AVCodecID codecId);
CodecPtr MakeEncoder(const AVCodec* codec);

/// Opens a filled-in encoder, with its global header apart where the muxer wants that. Throws Error
/// with FFmpeg's code.
void OpenEncoder(AVCodecContext& encoder, const AVOutputFormat& muxer);

/// Writes into an output stream what its open encoder announces; the stream keeps its codec tag.
/// Before the header. Throws Error with FFmpeg's code.
void DescribeEncoder(const AVCodecContext& encoder, AVStream& target);

/// Gives a decoder a packet (null: there are no more) and takes every frame that comes out; `take`
/// runs for each. 0 or the negative code of the first step that failed; what the decoder still
/// holds behind the last packet comes out all the same. Throws Error(ENOMEM).
template <class Take>
int DecodePacket(AVCodecContext& decoder, const AVPacket* packet, AVFrame& frame, Take take) {
  // No decoder holds more.
  constexpr int kMostFailures = 100;
  int failure = RequireMemory(avcodec_send_packet(&decoder, packet));
  if (failure == AVERROR_EOF) failure = 0;
  for (int failures = 0; failure >= 0 || (packet == nullptr && failures < kMostFailures);) {
    const int result = RequireMemory(avcodec_receive_frame(&decoder, &frame));
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) break;
    if (result >= 0) {
      take();
    } else {
      ++failures;
      if (failure >= 0) failure = result;
    }
  }
  return failure < 0 ? failure : 0;
}

/// When decoded frames are shown, in their packets' time base. Behind packets that held several
/// frames the last one has no time of its own: it comes as long after the one before as that did.
class FrameClock {
 public:
  /// Of every frame, in the order in which they come out. Unknown where nothing tells it.
  std::int64_t TimeOf(const AVFrame& frame);

 private:
  std::int64_t last_ = AV_NOPTS_VALUE;
  std::int64_t step_ = 0;
};

/// Channels that the stream's decoder reports once it is open; 0 when it can't be opened. Throws
/// Error(ENOMEM).
int DecodedChannels(const AVCodecParameters& parameters);

}  // namespace mpg
