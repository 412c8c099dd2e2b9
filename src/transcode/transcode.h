// Rewriting a file into another container, codec, size and bit rate.
#pragma once

#include <string>

#include "core/progress.h"
#include "mpg/mpg.h"

namespace mpg {

/// Makes what the parameters ask for of the input's audio (the stream with the highest bit rate)
/// and, when it has one that can be set up, its first video stream. Streams for which nothing is
/// asked are copied. Throws Error; the output is deleted.
void TranscodeFile(const std::string& inputPath, const std::string& outputPath,
                   TranscodeParams params, Progress progress);

}  // namespace mpg
