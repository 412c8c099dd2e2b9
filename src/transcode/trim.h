// Keeping a part of a video.
#pragma once

#include <cstdint>

namespace mpg {

/// Writes the frames between two seconds, both included, re-encoded with the same codec, and the
/// audio from the key frame at or before the start on. The start becomes time 0. Throws Error;
/// the output is deleted.
void TrimVideo(const char* inputPath, const char* outputPath, std::uint32_t startSecond,
               std::uint32_t endSecond);

}  // namespace mpg
