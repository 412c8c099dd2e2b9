// A file's audio as MP3.
#pragma once

#include "core/progress.h"

namespace mpg {

/// Bits per second for the encoder: the smaller of the file's and the stream's bit rate that lies
/// between 32000 and 256000, else 128000; less where that is requested (0 or less: no request) or
/// where a low sample rate, in Hz, has no use for it.
std::int64_t ChooseMp3BitRate(std::int64_t fileBitRate, std::int64_t streamBitRate,
                              std::int32_t request, int sampleRate);

/// Writes the input's audio stream with the highest bit rate: mono from one or two
/// channels, else stereo. Tolerates 19 broken packets. Throws Error; the partial file stays.
void ConvertToMp3(const char* inputPath, const char* outputPath, std::int32_t requestedBitRate,
                  Progress progress);

}  // namespace mpg
