#include "image/jpeg_encoder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "image/jpeg_scalar_model.h"
#include "image/test_pictures.h"
#include "support/host.h"
#include "support/media.h"
#include "support/pictures.h"

namespace mpg::test {
namespace {

Bytes Encode(const Picture& picture, int quality) {
  Bytes file;
  const auto collect = [](void* to, std::span<const std::uint8_t> bytes) {
    static_cast<Bytes*>(to)->insert(static_cast<Bytes*>(to)->end(), bytes.begin(), bytes.end());
  };
  EXPECT_TRUE(JpegEncoder(
      {collect, &file}, picture.pixels.data(), static_cast<std::uint16_t>(picture.width),
      static_cast<std::uint16_t>(picture.height), static_cast<std::uint8_t>(quality)));
  return file;
}

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
      {"shades", MakeShadedPicture(100, 75)},
      {"saturated noise", MakeSaturated(64, 48, [&](int, int, int) { return random() & 1; })},
      {"sparse dots", MakeSaturated(96, 64, [&](int, int, int) { return random() % 64 == 0; })},
      // The differences of neighbouring areas are as large as any can be.
      {"black and white areas",
       MakeSaturated(64, 16, [](int x, int y, int) { return (x / 8 + y / 8) % 2; })},
      {"blue and yellow areas",
       MakeSaturated(64, 16,
                     [](int x, int y, int c) { return ((x + y) / 8 % 2 == 0) == (c == 2); })},
      // The highest even frequency, where a coefficient is as large as any can be.
      {"half-period chequers",
       MakeSaturated(16, 16, [](int x, int y, int) { return ((x + 1) / 2 + (y + 1) / 2) % 2; })},
      {"blue and yellow chequers",
       MakeSaturated(32, 32, [](int x, int y, int c) { return ((x + y) % 2 == 0) == (c == 2); })},
      {"red and cyan chequers",
       MakeSaturated(32, 32, [](int x, int y, int c) { return ((x + y) % 2 == 0) == (c == 0); })},
  };
  const int sides[][2] = {{1, 1},   {8, 8},   {9, 9},   {17, 5},  {7, 20},  {16, 1},
                          {1, 300}, {64, 48}, {23, 24}, {24, 23}, {300, 11}};
  for (const auto& [width, height] : sides) {
    pictures.push_back({"noise of " + std::to_string(width) + " x " + std::to_string(height),
                        MakeNoisePicture(width, height)});
  }
  return pictures;
}

TEST(JpegEncoder, GivesTheBytesOfTheScalarModel) {
  for (const auto& [name, picture] : MakePictures()) {
    for (const int quality : {0, 1, 2, 20, 49, 50, 75, 90, 99, 100, 255}) {
      const Bytes model = EncodeWithModel(picture.pixels, picture.width, picture.height, quality);
      EXPECT_EQ(Encode(picture, quality), model) << name << ", quality " << quality;
    }
  }
}

TEST(JpegEncoder, WritesTheseBytesForAPixelOfMiddleGrey) {
  const Bytes file = Encode({1, 1, {128, 128, 128}}, 50);
  const std::string text(file.begin(), file.end());
  EXPECT_EQ(text.substr(0, 24),
            std::string("\xff\xd8\xff\xe0\0\x10JFIF\0\1\1\0\0\1\0\1\0\0\xff\xfe\0\x19", 24));
  EXPECT_EQ(text.substr(24, 23), "Zorvi image compression");
  // Y 00 1010, Cb 00 00, Cr 00 00, then 1-bits up to the byte's end.
  EXPECT_EQ(text.substr(text.size() - 4), "\x28\x03\xff\xd9");
}

// How close a decoder that stops at the first error comes to the picture, in decibels.
double DecodedPsnr(const Picture& picture, int quality) {
  const ::test::ScratchFolder folder;
  const Bytes file = Encode(picture, quality);
  ::test::WriteBytes(folder / "a.jpg", std::string(file.begin(), file.end()));
  return ::test::Psnr(::test::Pixels(folder / "a.jpg", "-xerror -err_detect explode"),
                      std::string(picture.pixels.begin(), picture.pixels.end()));
}

TEST(JpegEncoder, DecodesCloserWithQuality) {
  double last = 20;
  for (const int quality : {1, 20, 50, 75, 90, 100}) {
    const double psnr = DecodedPsnr(MakeShadedPicture(101, 77), quality);
    EXPECT_GT(psnr, last) << "quality " << quality;
    last = psnr;
  }
  EXPECT_GT(last, 44);
}

TEST(JpegEncoder, DecodesAtEverySizeAndExtreme) {
  for (const auto& [name, picture] : MakePictures()) {
    // Saturated colours lose most, to the rounding of Y, Cb and Cr.
    EXPECT_GT(DecodedPsnr(picture, 100), 40) << name;
  }
}

}  // namespace
}  // namespace mpg::test
