// Still pictures of videos.
#pragma once

#include <cstdint>

#include "mpg/mpg.h"

namespace mpg {

/// Where and how large a picture is wanted.
struct GrabRequest {
  const char* inputPath;
  std::int32_t height;  // pixels; 0 for the video's own size
};

/// Writes the first picture at or behind a position, on the scale of percent100 of the duration,
/// that is neither predicted nor of one colour. Reads from the start without seeking. Throws Error
/// unless a file that isn't empty came out; whatever stands at the output path is deleted then.
void GrabFrameByPercent(const GrabRequest& request, ImageFormat format, const char* outputPath,
                        std::int32_t position, std::uint32_t quality);

/// The picture at a second as a memory bitmap, allocated with malloc. Throws Error where there is
/// none.
void* GrabBitmapBySecond(const GrabRequest& request, std::uint32_t second, std::uint32_t& size);

/// The same as a JPEG file. Throws Error where none came out, and deletes nothing then.
void GrabJpegBySecond(const GrabRequest& request, std::uint32_t second, const char* outputPath);

}  // namespace mpg
