// Decoded frames as packed red, green, blue bytes of a wanted size.
#pragma once

#include "image/rgb_view.h"
#include "media/handles.h"

namespace mpg {

/// Converts frames into one buffer of its own.
class RgbConverter {
 public:
  /// height 0 keeps the source's size; otherwise the width follows from the source's proportions,
  /// raised to a multiple of 4, at least 4. Throws Error: EINVAL for a negative or huge size,
  /// ENOMEM.
  RgbConverter(int sourceWidth, int sourceHeight, int height);

  /// Puts a frame into the buffer, in place of the one before. Throws Error: AVERROR_UNKNOWN when
  /// the format can't be converted.
  void Convert(const AVFrame& frame);

  /// What was converted last. Lives as long as the converter.
  RgbView Image() const { return {.pixels = pixels_.get(), .width = width_, .height = height_}; }

 private:
  int width_;
  int height_;
  BytesPtr pixels_;
  ScalerPtr scaler_;
};

}  // namespace mpg
