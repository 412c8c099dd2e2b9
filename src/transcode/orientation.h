// Frames that are stored turned or mirrored, and how they are set upright.
#pragma once

#include "media/ffmpeg.h"

namespace mpg {

/// What a frame needs to be shown upright: its sides change places first, then it is mirrored. All
/// eight orientations are made of these three.
struct Orientation {
  bool swapsSides = false;
  bool mirrorsX = false;
  bool mirrorsY = false;

  bool IsUpright() const { return !swapsSides && !mirrorsX && !mirrorsY; }
};

/// How the frames of a stream that is encoded for that muxer must be turned, as the container can't
/// tell players to do it; upright where it can.
Orientation OrientationToApply(const AVStream& source, const AVOutputFormat& muxer);

/// False for formats whose samples can't be moved one by one.
bool CanTurn(AVPixelFormat format, Orientation orientation);

/// Writes the samples of one frame into another of the same format, whose buffers are there and
/// whose sides are swapped where the orientation says so.
void Turn(const AVFrame& from, Orientation orientation, AVFrame& to);

}  // namespace mpg
