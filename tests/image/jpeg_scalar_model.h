#pragma once

#include <cstdint>
#include <vector>

namespace mpg::test {

// A plain JPEG encoder, one float at a time, straight from the formulas: the truth that the fast
// encoder must match byte for byte. Shares no code or table with it.
std::vector<std::uint8_t> EncodeWithModel(const std::vector<std::uint8_t>& pixels, int width,
                                          int height, int quality);

}  // namespace mpg::test
