// Bit rates and frame sizes of re-encoded video.
#pragma once

#include <array>
#include <cstdint>

#include "transcode/ladder.h"

namespace mpg {

/// In bits per second.
inline constexpr std::array<std::int32_t, 21> kVideoBitRates = {
    24000,   48000,   64000,   96000,   128000,  196000,   256000,
    384000,  512000,  768000,  1024000, 1200000, 1500000,  2000000,
    2500000, 3000000, 4000000, 6000000, 8000000, 10000000, 12000000};

/// A request below 1000 counts in kilobits per second.
constexpr std::int32_t SnapVideoBitRate(std::int32_t request) {
  constexpr std::int32_t kLowestInBits = 1000;
  // Far below zero the product wouldn't fit; the answer is the same.
  if (request < 0) return kVideoBitRates.front();
  return SnapUp(kVideoBitRates, request < kLowestInBits ? request * 1000 : request);
}

struct FrameSize {
  std::int32_t width;
  std::int32_t height;

  friend constexpr bool operator==(const FrameSize&, const FrameSize&) = default;
};

/// The one of the five sizes of H.263 that suits a frame; a size with a side of 0 stays.
constexpr FrameSize SnapH263Size(FrameSize size) {
  constexpr FrameSize kSubQcif{128, 96}, kQcif{176, 144}, kCif{352, 288}, k4Cif{704, 576},
      k16Cif{1408, 1152};
  const auto [width, height] = size;
  if (width == 0 || height == 0) return size;
  for (const FrameSize& legal : {kSubQcif, kQcif, kCif, k4Cif, k16Cif}) {
    if (size == legal) return size;
  }
  if (width < 256 || height < 192) return kSubQcif;
  if (width >= 1056 && height >= 864) return k16Cif;
  if (width >= 528 && height >= 432) return k4Cif;
  return kCif;
}

}  // namespace mpg
