#pragma once

#include <cstdint>

namespace mpg {

// A view of a packed 24-bit picture: red, green, blue, rows from top to bottom, width * 3 bytes a
// row without padding. The pixels belong to whoever made them and must outlive the view.
struct RgbView {
  const std::uint8_t* pixels = nullptr;
  int width = 0;
  int height = 0;
};

}  // namespace mpg
