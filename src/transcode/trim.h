// Keeping a part of a video.
#pragma once

#include <cstdint>

namespace mpg {

/// Writes the pictures between two seconds, both included, re-encoded with the same codec, and the
/// sound from the key picture at or before the start on. The start becomes time 0. Throws Error;
/// the output is deleted.
void TrimVideo(const char* inputPath, const char* outputPath, std::uint32_t startSecond,
               std::uint32_t endSecond);

}  // namespace mpg
