#include "image/jpeg_transform.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <random>
#include <vector>

#include "image/test_pictures.h"

namespace mpg::jpeg {
namespace {

constexpr std::size_t kAreaBytes = 8 * 24;

// Noise of falling strength, from saturated down to nearly flat, so that areas with every number of
// zeros occur.
std::vector<test::Bytes> MakeAreas() {
  std::mt19937 random(3);
  std::vector<test::Bytes> areas;
  for (const unsigned range : {256u, 64u, 16u, 4u, 2u, 1u}) {
    for (int i = 0; i < 200; ++i) {
      test::Bytes area(kAreaBytes);
      const std::size_t base = random() % (257 - range);
      for (std::uint8_t& byte : area) byte = static_cast<std::uint8_t>(base + random() % range);
      areas.push_back(area);
    }
  }
  return areas;
}

Reciprocals MakeReciprocals(float first) {
  Reciprocals reciprocals;
  for (float& factor : reciprocals.values) factor = first, first *= 0.97f;
  return reciprocals;
}

QuantizedArea Transform(AreaTransform transform, const test::Bytes& area) {
  QuantizedArea result;
  transform(area.data(), 24, MakeReciprocals(0.1f), MakeReciprocals(0.05f), result);
  return result;
}

TEST(AreaTransform, MarksTheZigZagPositionsOfTheNonZeroValues) {
  for (const AreaTransform transform : {AreaTransform{TransformArea}, FastestAreaTransform()}) {
    for (const test::Bytes& area : MakeAreas()) {
      const QuantizedArea result = Transform(transform, area);
      for (const QuantizedBlock* block : {&result.y, &result.cb, &result.cr}) {
        for (std::size_t i = 0; i < kBlockSize; ++i) {
          ASSERT_EQ(block->nonZero >> i & 1, block->values[kValueOrder[i]] != 0 ? 1u : 0u) << i;
        }
      }
    }
  }
}

TEST(AreaTransform, IsTheSameForEveryProcessor) {
  const AreaTransform fastest = FastestAreaTransform();
  if (fastest == TransformArea) GTEST_SKIP() << "no other one for this processor";
  for (const test::Bytes& area : MakeAreas()) {
    const QuantizedArea expected = Transform(TransformArea, area);
    const QuantizedArea result = Transform(fastest, area);
    for (std::size_t i = 0; i < kBlockSize; ++i) {
      ASSERT_EQ(result.y.values[i], expected.y.values[i]) << i;
      ASSERT_EQ(result.cb.values[i], expected.cb.values[i]) << i;
      ASSERT_EQ(result.cr.values[i], expected.cr.values[i]) << i;
    }
  }
}

}  // namespace
}  // namespace mpg::jpeg
