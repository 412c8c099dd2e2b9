// Decoded pictures as packed red, green, blue bytes of a wanted size.
#pragma once

#include "image/rgb_view.h"
#include "media/handles.h"

namespace mpg {

/// Converts pictures into one buffer of its own.
class RgbConverter {
 public:
  /// height 0 keeps the source's size; otherwise the width follows from the source's proportions,
  /// raised to a multiple of 4, at least 4. Throws Error: EINVAL for a negative or huge size,
  /// ENOMEM.
  RgbConverter(int sourceWidth, int sourceHeight, int height);

  /// The picture in the converter's buffer, valid until the next call. Throws Error:
  /// AVERROR_UNKNOWN when the format can't be converted.
  RgbView Convert(const AVFrame& picture);

 private:
  int width_;
  int height_;
  std::unique_ptr<std::uint8_t, Deleter<av_free>> pixels_;
  ScalerPtr scaler_;
};

}  // namespace mpg
