#include "core/progress.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "support/host.h"

namespace mpg {
namespace {

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
constexpr std::int32_t kMost32 = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kLeast32 = std::numeric_limits<std::int32_t>::min();

TEST(PercentOf, IsExactForAnyScaleWithin32Bits) {
  struct Case {
    std::int32_t percent100;
    std::int64_t position, total, expected;
  };
  constexpr Case kCases[] = {
      {100, 2, 3, 66},
      {100, -2, 3, -66},
      {0, 5, 7, 0},
      {-100, 1, 2, -50},
      // The product needs more than 64 bits.
      {2147483647, 4'000'000'000'000'000, 8'000'000'000'000'000, 1073741823},
      {2147483647, 3, 2, kMost32},
      {2147483647, kMax - 1, kMax, kMost32 - 1},
      {2147483647, kMax, 1, kMost32},
      {100, kMin, -1, kMost32},
      {100, kMin, 1, kLeast32},
      {1, kMin, kMin, 1},
      {0, kMax, 1, 0},
  };
  for (const Case& c : kCases) {
    const test::Percent100Is scale(c.percent100);
    EXPECT_EQ(PercentOf(c.position, c.total), c.expected)
        << c.percent100 << " x " << c.position << " / " << c.total;
  }
}

}  // namespace
}  // namespace mpg
