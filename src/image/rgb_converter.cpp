#include "image/rgb_converter.h"

#include <algorithm>
#include <limits>

namespace mpg {
namespace {

int ScaledWidth(int sourceWidth, int sourceHeight, int height) {
  const std::int64_t width =
      std::max<std::int64_t>(std::int64_t{sourceWidth} * height / sourceHeight, 1);
  const std::int64_t rounded = (width + 3) / 4 * 4;
  if (rounded > std::numeric_limits<int>::max()) throw Error(AVERROR(EINVAL));
  return static_cast<int>(rounded);
}

}  // namespace

RgbConverter::RgbConverter(int sourceWidth, int sourceHeight, int height) {
  if (height < 0) throw Error(AVERROR(EINVAL));
  width_ = height == 0 ? sourceWidth : ScaledWidth(sourceWidth, sourceHeight, height);
  height_ = height == 0 ? sourceHeight : height;

  std::uint8_t* planes[4] = {};
  int rowBytes[4] = {};
  Check(av_image_alloc(planes, rowBytes, width_, height_, AV_PIX_FMT_RGB24, 1));
  pixels_.reset(planes[0]);
}

void RgbConverter::Convert(const AVFrame& frame) {
  scaler_.reset(sws_getCachedContext(scaler_.release(), frame.width, frame.height,
                                     static_cast<AVPixelFormat>(frame.format), width_, height_,
                                     AV_PIX_FMT_RGB24, SWS_FAST_BILINEAR | SWS_ACCURATE_RND,
                                     nullptr, nullptr, nullptr));
  if (scaler_ == nullptr) throw Error(AVERROR_UNKNOWN);
  std::uint8_t* const planes[4] = {pixels_.get()};
  const int rowBytes[4] = {width_ * 3};
  Check(sws_scale(scaler_.get(), frame.data, frame.linesize, 0, frame.height, planes, rowBytes));
}

}  // namespace mpg
