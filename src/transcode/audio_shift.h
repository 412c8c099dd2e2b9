// Moving a file's audio against its video.
#pragma once

#include <cstdint>

#include "core/progress.h"

namespace mpg {

/// Writes a copy whose audio is later (positive) or earlier by a number of milliseconds. Throws
/// Error; the output is deleted.
void ShiftAudio(const char* inputPath, const char* outputPath, std::int32_t milliseconds,
                Progress progress);

}  // namespace mpg
