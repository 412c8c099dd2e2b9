#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "image/jpeg_encoder.h"
#include "image/rgb_view.h"
#include "support/media.h"

namespace mpg {

using Bytes = std::vector<std::uint8_t>;

// A picture that owns its pixels.
struct Picture {
  int width;
  int height;
  Bytes pixels;

  RgbView View() const { return {pixels.data(), width, height}; }
};

// `colour(x, y, channel)` gives each byte.
template <typename Colour>
Picture MakePicture(int width, int height, Colour colour) {
  Picture picture{width, height, {}};
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      for (int channel = 0; channel < 3; ++channel) {
        picture.pixels.push_back(static_cast<std::uint8_t>(colour(x, y, channel)));
      }
    }
  }
  return picture;
}

inline Picture MakeNoisePicture(int width, int height, unsigned seed = 1) {
  std::mt19937 random(seed);
  return MakePicture(width, height, [&](int, int, int) { return random() & 0xff; });
}

inline Bytes Encode(const Picture& picture, int quality) {
  Bytes file;
  const auto collect = [](void* to, std::span<const std::uint8_t> bytes) {
    static_cast<Bytes*>(to)->insert(static_cast<Bytes*>(to)->end(), bytes.begin(), bytes.end());
  };
  JpegEncoder({collect, &file}, picture.pixels.data(), static_cast<std::uint16_t>(picture.width),
              static_cast<std::uint16_t>(picture.height), static_cast<std::uint8_t>(quality));
  return file;
}

inline Bytes ReadFile(const std::string& path) {
  const std::string content = test::ReadBytes(path);
  return Bytes(content.begin(), content.end());
}

}  // namespace mpg
