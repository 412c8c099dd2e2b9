// What a video encoder is asked for: size and shape, pixel format and colours, bit rate, speed.
#pragma once

#include "media/codec.h"
#include "transcode/video_rates.h"

namespace mpg {

struct VideoEncoderRequest {
  const AVStream& source;
  const AVCodecContext& decoder;  // of the source, open
  AVCodecID codecId;
  const AVOutputFormat& muxer;
  std::int64_t fileBitRate;  // of the input, where the stream tells none
  FrameSize size{0, 0};  // that the host wants, of frames as they are stored; 0 x 0: the source's
};

/// An encoder, not yet open, that keeps what the source has and the request doesn't change: size,
/// display shape, bit rate, field order, colours and, where it can, pixel format. Sizes that the
/// encoder doesn't take become the next larger that it does; sides are swapped where the frames
/// must be turned (OrientationToApply). The time base is the source's, or one frame where the
/// encoder's rate control counts those. Throws Error: AVERROR_UNKNOWN when FFmpeg has no such
/// encoder, AVERROR(EINVAL) for a size that can't be.
CodecPtr MakeVideoEncoder(const VideoEncoderRequest& request);

/// Describes an output stream by its open encoder, and by what of the source's side data is still
/// true of re-encoded frames; asks the muxer for a time base. Throws Error with FFmpeg's code.
void DescribeVideoEncoder(const AVCodecContext& encoder, const AVStream& source,
                          const AVOutputFormat& muxer, AVRational timeBase, AVStream& target);

/// Of an interlaced stream: which field is shown first.
bool IsTopFieldFirst(AVFieldOrder order);

/// True for encoders whose rate control takes each tick of the time base for a frame: with a finer
/// clock a frame would get next to nothing. The other wrapped libraries ask for the frame rate.
bool CountsFrames(const AVCodec& codec);

}  // namespace mpg
