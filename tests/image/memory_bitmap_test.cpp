#include "image/memory_bitmap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>

#include "core/error.h"
#include "image/test_pictures.h"

namespace mpg::test {
namespace {

TEST(MemoryBitmap, HoldsHeadersAnEmptyColourAndTheRows) {
  // Red and green above blue and grey.
  const Picture picture{2, 2, {255, 0, 0, 0, 255, 0, 0, 0, 255, 1, 2, 3}};
  std::uint32_t size = 0;
  const std::unique_ptr<std::uint8_t, decltype(&std::free)> block(
      BuildMemoryBitmap(picture.View(), size), std::free);
  ASSERT_EQ(size, 70u);
  const Bytes expected = {
      'B', 'M', 66,  0, 0,   0, 0,   0, 0,    0,    54,   0,    0, 0,         // file header
      40,  0,   0,   0, 2,   0, 0,   0, 0xfe, 0xff, 0xff, 0xff, 1, 0, 24, 0,  // sizes
      0,   0,   0,   0, 12,  0, 0,   0, 0,    0,    0,    0,    0, 0, 0,  0,
      0,   0,   0,   0, 0,   0, 0,   0,  //
      0,   0,   0,   0,                  // colour entry
      0,   0,   255, 0, 255, 0, 255, 0, 0,    3,    2,    1};
  EXPECT_EQ(Bytes(block.get(), block.get() + size), expected);
}

TEST(MemoryBitmap, RefusesWhatItCannotHold) {
  constexpr int kMost = std::numeric_limits<int>::max();
  const std::uint8_t pixel[3] = {};
  const RgbView refused[] = {
      {pixel, 0, 1},          {pixel, 1, 0},         {nullptr, 1, 1},
      {pixel, -1, 1},         {pixel, 1, -1},        {pixel, -1, -1},
      {pixel, kMost, kMost},  {pixel, 65536, 65536},  // the byte count wraps to 0
      {pixel, 37838, 37838},                          // wraps to a few bytes
      {pixel, 1, 1431655746},                         // only the headers make it too large
  };
  for (const RgbView& image : refused) {
    std::uint32_t size = 12345;
    EXPECT_THROW(BuildMemoryBitmap(image, size), Error) << image.width << " x " << image.height;
    EXPECT_EQ(size, 12345u);
  }
}

}  // namespace
}  // namespace mpg::test
