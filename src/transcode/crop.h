// A copy of a video whose frames are all proven to decode.
#pragma once

namespace mpg {

/// Copies audio and video packets; decodes every frame on the way. Throws Error; the output is
/// deleted. Tells FFmpeg's log what stands in the way of opening the input.
void CropVideo(const char* inputPath, const char* outputPath);

}  // namespace mpg
