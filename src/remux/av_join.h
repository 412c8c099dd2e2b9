// Joining a video file with an audio file, as their codecs allow.
#pragma once

#include "core/progress.h"

namespace mpg {

/// Decides how the two files can be joined and joins them. Throws Error; the partial file of a
/// failed join stays.
void JoinVideoAndAudio(const char* videoPath, const char* audioPath, const char* outputPath,
                       Progress progress);

}  // namespace mpg
