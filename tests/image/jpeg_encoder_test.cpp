#include "image/jpeg_encoder.h"

#include <random>
#include <utility>

#include "image/jpeg_transform.h"
#include "image/test_pictures.h"
#include "support/kit.h"

namespace mpg {
namespace {

struct NamedPicture {
  std::string name;
  Picture picture;
};

// A picture of bytes that are either 0 or 255.
template <typename IsOn>
Picture MakeSaturated(int width, int height, IsOn isOn) {
  return MakePicture(width, height, [&](int x, int y, int c) { return isOn(x, y, c) ? 255 : 0; });
}

std::vector<NamedPicture> MakePictures() {
  std::mt19937 random(5);
  std::vector<NamedPicture> pictures = {
      {"grey", MakePicture(24, 8, [](int, int, int) { return 128; })},
      {"saturated noise", MakeSaturated(64, 48, [&](int, int, int) { return random() & 1; })},
      {"sparse dots", MakeSaturated(96, 64, [&](int, int, int) { return random() % 64 == 0; })},
      // The differences of neighbouring areas are as large as any can be.
      {"black and white areas",
       MakeSaturated(64, 16, [](int x, int y, int) { return (x / 8 + y / 8) % 2; })},
      // The highest even frequency, where a coefficient is as large as any can be.
      {"half-period chequers",
       MakeSaturated(16, 16, [](int x, int y, int) { return ((x + 1) / 2 + (y + 1) / 2) % 2; })},
      {"blue and yellow chequers",
       MakeSaturated(32, 32, [](int x, int y, int c) { return ((x + y) % 2 == 0) == (c == 2); })},
      {"red and cyan chequers",
       MakeSaturated(32, 32, [](int x, int y, int c) { return ((x + y) % 2 == 0) == (c == 0); })},
  };
  for (const auto& [width, height] :
       {std::pair{1, 1}, {9, 9}, {17, 5}, {1, 300}, {23, 24}, {300, 11}}) {
    pictures.push_back({"noise of " + std::to_string(width) + " x " + std::to_string(height),
                        MakeNoisePicture(width, height)});
  }
  return pictures;
}

// What the standard's formulas give, one float at a time.
TEST(JpegEncoder, GivesTheSameBytesOnEveryMachine) {
  constexpr std::uint32_t kChecksums[] = {
      3783957030u, 1426515998u, 1922816559u, 3087269139u, 2868770022u, 2283051542u, 2545879942u,
      91370659u,   314112645u,  3274171752u, 1154636429u, 668164179u,  2759739295u};
  const std::uint32_t* expected = kChecksums;
  for (const auto& [name, picture] : MakePictures()) {
    std::uint32_t checksum = 0x811c9dc5;  // FNV-1a
    for (const int quality : {0, 1, 2, 20, 49, 50, 75, 90, 99, 100, 255}) {
      for (const std::uint8_t byte : Encode(picture, quality)) {
        checksum = (checksum ^ byte) * 0x01000193;
      }
    }
    EXPECT_EQ(checksum, *expected++) << name;
  }
}

// By a decoder that stops at the first error.
TEST(JpegEncoder, DecodesAtEverySizeAndExtreme) {
  const test::ScratchFolder folder;
  for (const auto& [name, picture] : MakePictures()) {
    const Bytes file = Encode(picture, 100);
    test::WriteBytes(folder / "a.jpg", std::string(file.begin(), file.end()));
    const double psnr = test::Psnr(test::Pixels(folder / "a.jpg", "-xerror -err_detect explode"),
                                   std::string(picture.pixels.begin(), picture.pixels.end()));
    // Saturated colours lose most, to the rounding of Y, Cb and Cr.
    EXPECT_GT(psnr, 40) << name;
  }
}

using namespace jpeg;

Reciprocals MakeReciprocals(float first) {
  Reciprocals reciprocals;
  for (float& factor : reciprocals.values) factor = first, first *= 0.97f;
  return reciprocals;
}

QuantizedArea Transform(AreaTransform transform, const Bytes& area) {
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
      Bytes area(8 * 24);
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
}  // namespace mpg
