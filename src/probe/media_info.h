// What a file holds.
#pragma once

#include <cstdint>

#include "mpg/mpg.h"

namespace mpg {

/// True when the file opens and its stream information can be read.
bool IsReadableMedia(const char* path);

/// Fills a zeroed record; fields that the file doesn't tell stay 0. True when it holds a video
/// stream or a usable audio stream.
bool ProbeMediaInfo(const char* path, MediaInfo& info);

/// Whole seconds of the audio, else of the file as its header tells it, else 0.
std::int64_t ProbeAudioDuration(const char* path);

}  // namespace mpg
