// Sizes that encoders take, and the shape of a pixel that keeps what is seen in its proportions.
#pragma once

#include "media/ffmpeg.h"
#include "transcode/video_rates.h"

namespace mpg {

inline constexpr int kFields = 2;  // of an interlaced frame

struct FrameShape {
  FrameSize size;
  AVRational pixelAspect;  // 0/1: unknown
};

/// True where both fields of an interlaced frame have whole chroma samples, and are no indexes.
bool HasWholeFields(int height, AVPixelFormat format);

/// What becomes of a frame for which a size is wanted (0 x 0: its own): wanted sizes grow to the
/// next with whole chroma samples, in both fields where these are coded apart, and to what the
/// encoder takes at all; a size that is kept grows only where the encoder demands it. The pixels'
/// aspect changes where the sides are scaled differently by more than that. Throws Error(EINVAL)
/// for sizes below 0 and frames of no size.
FrameShape FitFrame(const FrameShape& source, FrameSize wanted, const AVCodec& encoder,
                    AVPixelFormat format, bool hasFields);

}  // namespace mpg
