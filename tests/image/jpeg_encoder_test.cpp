#include "image/jpeg_encoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "image/jpeg_scalar_model.h"
#include "image/test_pictures.h"
#include "support/host.h"
#include "support/process.h"

namespace mpg::test {
namespace {

Bytes* collected;

Bytes Encode(const Picture& picture, int quality) {
  Bytes file;
  collected = &file;
  EXPECT_TRUE(JpegEncoder([](std::uint8_t byte) { collected->push_back(byte); },
                          picture.pixels.data(), static_cast<std::uint16_t>(picture.width),
                          static_cast<std::uint16_t>(picture.height),
                          static_cast<std::uint8_t>(quality)));
  return file;
}

Picture MakeFlat(int width, int height, int grey) {
  return MakePicture(width, height, [=](int, int, int) { return grey; });
}

// Offsets in the file that do not depend on the picture.
constexpr std::size_t kLuminanceTableAt = 20 + 27 + 5;
constexpr std::size_t kChrominanceTableAt = kLuminanceTableAt + 65;
constexpr std::size_t kFrameAt = 20 + 27 + 134;
constexpr std::size_t kScanAt = kFrameAt + 19 + 420 + 14;

Bytes Part(const Bytes& file, std::size_t at, std::size_t size) {
  return Bytes(file.begin() + static_cast<std::ptrdiff_t>(at),
               file.begin() + static_cast<std::ptrdiff_t>(at + size));
}

struct NamedPicture {
  const char* name;
  Picture picture;
};

void PrintTo(const NamedPicture& named, std::ostream* out) {
  *out << named.name;
}

int Saturated(bool on) {
  return on ? 255 : 0;
}

std::vector<NamedPicture> MakePictures() {
  std::mt19937 random(5);
  std::vector<NamedPicture> pictures = {
      {"black", MakeFlat(16, 16, 0)},
      {"grey", MakeFlat(24, 8, 128)},
      {"white", MakeFlat(8, 24, 255)},
      {"shades", MakeShadedPicture(100, 75)},
      {"blackOrWhiteNoise",
       MakePicture(64, 48, [&](int, int, int) { return Saturated(random() & 1); })},
      {"sparseDots",
       MakePicture(96, 64, [&](int, int, int) { return random() % 64 == 0 ? 255 : 16; })},
      {"greyChequers",
       MakePicture(33, 31, [](int x, int y, int) { return Saturated((x + y) % 2); })},
      {"blackAndWhiteAreas",
       MakePicture(64, 16, [](int x, int y, int) { return Saturated((x / 8 + y / 8) % 2); })},
      {"blueAndYellowAreas", MakePicture(64, 16,
                                         [](int x, int y, int channel) {
                                           return Saturated(((x + y) / 8 % 2 == 0) ==
                                                            (channel == 2));
                                         })},
      {"blueAndYellowChequers", MakePicture(32, 32,
                                            [](int x, int y, int channel) {
                                              return Saturated(((x + y) % 2 == 0) ==
                                                               (channel == 2));
                                            })},
      {"redAndCyanChequers", MakePicture(32, 32,
                                         [](int x, int y, int channel) {
                                           return Saturated(((x + y) % 2 == 0) == (channel == 0));
                                         })},
      // The highest even frequency, where a coefficient is as large as any can be.
      {"halfPeriodChequers",
       MakePicture(16, 16,
                   [](int x, int y, int) { return Saturated(((x + 1) / 2 + (y + 1) / 2) % 2); })},
  };
  const int sides[][2] = {{1, 1},  {8, 8},   {9, 9},   {17, 5},  {7, 20},  {16, 1},
                          {1, 40}, {64, 48}, {23, 24}, {24, 23}, {300, 11}};
  for (const auto& [width, height] : sides) {
    pictures.push_back({"noise", MakeNoisePicture(width, height)});
  }
  return pictures;
}

class EveryPicture : public testing::TestWithParam<NamedPicture> {};

TEST_P(EveryPicture, GivesTheBytesOfTheScalarModel) {
  const Picture& picture = GetParam().picture;
  for (const int quality : {0, 1, 2, 20, 49, 50, 75, 90, 99, 100, 255}) {
    const Bytes model = EncodeWithModel(picture.pixels, picture.width, picture.height, quality);
    EXPECT_EQ(Encode(picture, quality), model)
        << "quality " << quality << ", " << picture.width << " x " << picture.height;
  }
}

TEST_P(EveryPicture, StaysWithinTheCodeTables) {
  const Picture& picture = GetParam().picture;
  ModelExtremes extremes;
  EncodeWithModel(picture.pixels, picture.width, picture.height, 100, &extremes);
  EXPECT_LE(extremes.largestAc, 1020);
  EXPECT_LE(extremes.largestDcDifference, 2040);
}

INSTANTIATE_TEST_SUITE_P(JpegEncoder, EveryPicture, testing::ValuesIn(MakePictures()));

TEST(JpegEncoder, ExtremePicturesReachTheLimitsOfTheCodeTables) {
  ModelExtremes extremes;
  for (const NamedPicture& named : MakePictures()) {
    const Picture& picture = named.picture;
    EncodeWithModel(picture.pixels, picture.width, picture.height, 100, &extremes);
  }
  EXPECT_EQ(extremes.largestAc, 1020);
  EXPECT_EQ(extremes.largestDcDifference, 2040);
}

TEST(JpegEncoder, CodesAMidGreyAreaAsThreeEmptyBlocks) {
  const Bytes file = Encode(MakeFlat(1, 1, 128), 50);
  // Y 00 1010, Cb 00 00, Cr 00 00, then 1-bits up to the byte's end.
  EXPECT_EQ(Part(file, kScanAt, file.size() - kScanAt), (Bytes{0x28, 0x03, 0xff, 0xd9}));
}

TEST(JpegEncoder, BeginsWithAJfifSegmentAndTheComment) {
  const Bytes file = Encode(MakeFlat(8, 8, 10), 75);
  const Bytes start = {0xff, 0xd8, 0xff, 0xe0, 0x00, 0x10, 'J',  'F',  'I',  'F',  0x00, 0x01,
                       0x01, 0x00, 0x00, 0x01, 0x00, 0x01, 0x00, 0x00, 0xff, 0xfe, 0x00, 0x19};
  EXPECT_EQ(Part(file, 0, start.size()), start);
  const Bytes comment = Part(file, start.size(), 23);
  EXPECT_EQ(std::string(comment.begin(), comment.end()), "Zorvi image compression");
}

TEST(JpegEncoder, WritesHeightBeforeWidthHighByteFirst) {
  const Bytes file = Encode(MakeFlat(1000, 750, 10), 1);
  EXPECT_EQ(Part(file, kFrameAt, 9), (Bytes{0xff, 0xc0, 0x00, 0x11, 0x08, 0x02, 0xee, 0x03, 0xe8}));
}

TEST(JpegEncoder, ScalesTheStandardTablesByQuality) {
  struct Case {
    int quality;
    Bytes luminance;  // first entries in zig-zag order
    Bytes chrominance;
  };
  const Case cases[] = {
      {0, {255, 255, 255, 255}, {255, 255, 255, 255}},
      {1, {255, 255, 255, 255}, {255, 255}},
      {20, {40, 28, 30, 35}, {43, 45, 45, 60}},
      {50, {16, 11, 12, 14}, {17, 18, 18, 24}},
      {90, {3, 2, 2, 3}, {3, 4, 4, 5}},
      {100, {1, 1, 1, 1}, {1, 1, 1, 1}},
      {255, {1, 1, 1, 1}, {1, 1, 1, 1}},
  };
  for (const Case& c : cases) {
    const Bytes file = Encode(MakeFlat(8, 8, 10), c.quality);
    EXPECT_EQ(Part(file, kLuminanceTableAt, c.luminance.size()), c.luminance) << c.quality;
    EXPECT_EQ(Part(file, kChrominanceTableAt, c.chrominance.size()), c.chrominance) << c.quality;
  }
}

TEST(JpegEncoder, HidesEveryMarkerByteOfTheScan) {
  const Bytes file = Encode(MakeNoisePicture(128, 128), 100);
  int stuffed = 0;
  for (std::size_t i = kScanAt; i + 2 < file.size(); ++i) {
    if (file[i] != 0xff) continue;
    ASSERT_EQ(file[i + 1], 0x00) << "at " << i;
    ++stuffed;
  }
  EXPECT_GT(stuffed, 100);
  EXPECT_EQ(Part(file, file.size() - 2, 2), (Bytes{0xff, 0xd9}));
}

TEST(JpegEncoder, RefusesAnEmptyPictureWithoutSendingAByte) {
  const Bytes pixels(300);
  struct Case {
    const std::uint8_t* pixels;
    std::uint16_t width;
    std::uint16_t height;
  };
  for (const Case& c :
       {Case{nullptr, 10, 10}, Case{pixels.data(), 0, 10}, Case{pixels.data(), 10, 0}}) {
    Bytes file;
    collected = &file;
    const bool encoded = JpegEncoder([](std::uint8_t byte) { collected->push_back(byte); },
                                     c.pixels, c.width, c.height, 90);
    EXPECT_FALSE(encoded);
    EXPECT_TRUE(file.empty());
  }
}

// Independent decoders: each turns %1 (JPEG) into %2 (PPM).
struct Decoder {
  const char* name;
  const char* probe;
  const char* before;
  const char* between;
};

void PrintTo(const Decoder& decoder, std::ostream* out) {
  *out << decoder.name;
}

class EveryDecoder : public testing::TestWithParam<Decoder> {
 protected:
  void SetUp() override {
    if (::test::RunProgram(GetParam().probe).status != 0) {
      GTEST_SKIP() << GetParam().name << " is not installed";
    }
  }

  static std::optional<Picture> Decode(const Bytes& file) {
    const ::test::ScratchFolder folder;
    const std::string jpeg = folder / "picture.jpg";
    const std::string ppm = folder / "picture.ppm";
    std::ofstream(jpeg, std::ios::binary)
        .write(reinterpret_cast<const char*>(file.data()),
               static_cast<std::streamsize>(file.size()));
    const ::test::ProcessResult decoded = ::test::RunProgram(
        GetParam().before + ::test::Quoted(jpeg) + GetParam().between + ::test::Quoted(ppm));
    if (decoded.status != 0) return std::nullopt;
    std::ifstream in(ppm, std::ios::binary);
    std::string magic;
    int largest = 0;
    Picture picture{};
    in >> magic >> picture.width >> picture.height >> largest;
    in.get();
    picture.pixels = Bytes(std::istreambuf_iterator<char>(in), {});
    return picture;
  }

  static double Psnr(const Bytes& a, const Bytes& b) {
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i) sum += std::pow(double{1} * a[i] - b[i], 2);
    return 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.size()) / sum);
  }
};

TEST_P(EveryDecoder, GivesThePictureBackCloserWithQuality) {
  const Picture picture = MakeShadedPicture(101, 77);
  double last = 20;
  for (const int quality : {1, 20, 50, 75, 90, 100}) {
    const auto decoded = Decode(Encode(picture, quality));
    ASSERT_TRUE(decoded) << quality;
    ASSERT_EQ(decoded->width, picture.width);
    ASSERT_EQ(decoded->height, picture.height);
    ASSERT_EQ(decoded->pixels.size(), picture.pixels.size());
    const double psnr = Psnr(decoded->pixels, picture.pixels);
    EXPECT_GT(psnr, last) << "quality " << quality;
    last = psnr;
  }
  EXPECT_GT(last, 44);
}

TEST_P(EveryDecoder, ReadsEverySizeAndExtreme) {
  for (const NamedPicture& named : MakePictures()) {
    const Picture& picture = named.picture;
    const auto decoded = Decode(Encode(picture, 100));
    ASSERT_TRUE(decoded) << named.name;
    ASSERT_EQ(decoded->pixels.size(), picture.pixels.size()) << named.name;
    // Saturated colours lose most, to the rounding of Y, Cb and Cr.
    EXPECT_GT(Psnr(decoded->pixels, picture.pixels), 40) << named.name;
  }
}

INSTANTIATE_TEST_SUITE_P(
    JpegEncoder, EveryDecoder,
    testing::Values(Decoder{"djpeg", "djpeg -version", "djpeg -strict -ppm ", " > "},
                    Decoder{"ffmpeg", "ffmpeg -version",
                            "ffmpeg -v error -xerror -err_detect explode -y -i ",
                            " -pix_fmt rgb24 "}),
    [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace mpg::test
