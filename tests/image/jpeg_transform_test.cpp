#include "image/jpeg_transform.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <random>

#include "image/test_pictures.h"

namespace mpg::jpeg {
namespace {

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

void ExpectSame(const QuantizedBlock& result, const QuantizedBlock& expected) {
  EXPECT_EQ(result.nonZero, expected.nonZero);
  for (std::size_t i = 0; i < kBlockSize; ++i) ASSERT_EQ(result.values[i], expected.values[i]) << i;
}

TEST(AreaTransform, IsTheSameForEveryProcessor) {
  const AreaTransform fastest = FastestAreaTransform();
  if (fastest == TransformArea) GTEST_SKIP() << "no other one for this processor";
  std::mt19937 random(3);
  // Noise from saturated down to flat, so that areas with every number of zeros occur.
  for (const unsigned range : {256u, 64u, 16u, 4u, 2u, 1u}) {
    for (int i = 0; i < 200; ++i) {
      test::Bytes area(8 * 24);
      const std::size_t base = random() % (257 - range);
      for (std::uint8_t& byte : area) byte = static_cast<std::uint8_t>(base + random() % range);
      const QuantizedArea expected = Transform(TransformArea, area);
      const QuantizedArea result = Transform(fastest, area);
      ExpectSame(result.y, expected.y);
      ExpectSame(result.cb, expected.cb);
      ExpectSame(result.cr, expected.cr);
    }
  }
}

}  // namespace
}  // namespace mpg::jpeg
