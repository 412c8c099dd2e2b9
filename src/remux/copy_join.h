// Joining a video file and an audio file without touching their packets' contents.
#pragma once

#include "core/progress.h"
#include "media/input.h"

namespace mpg {

/// What a join works on.
struct JoinWork {
  Input video;
  Input audio;
  const char* outputPath;
  const char* muxerName;  // FFmpeg's short name
};

/// Copies the first video stream and the usable audio stream into one file, interleaved by time,
/// to the end of the longer one. Repairs missing and repeated time stamps, reports from the video
/// packets, and stops when the host says so. Throws Error; the partial file stays.
void JoinByCopy(JoinWork work, Progress progress);

}  // namespace mpg
