// A copy of a video whose pictures are all proven to decode.
#pragma once

namespace mpg {

/// Copies sound and video packets; decodes every picture on the way. Throws Error; the output is
/// deleted. Tells FFmpeg's log what stands in the way of opening the input.
void CropVideo(const char* inputPath, const char* outputPath);

}  // namespace mpg
