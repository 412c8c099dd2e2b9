// Joining a video file and an audio file whose audio becomes AAC.
#pragma once

#include "core/progress.h"
#include "remux/copy_join.h"

namespace mpg {

/// Copies the first video stream and encodes the audio stream with the highest bit rate as AAC,
/// interleaved by time, to the end of the shorter one. Reports from the video packets, and stops
/// when the host says so. Throws Error; the partial file stays, with a trailer when it was the
/// video that failed.
void JoinByReencoding(JoinWork work, Progress progress);

}  // namespace mpg
