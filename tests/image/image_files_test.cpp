#include "image/image_files.h"

#include <cstdlib>
#include <limits>
#include <memory>
#include <utility>

#include "core/error.h"
#include "image/memory_bitmap.h"
#include "image/test_pictures.h"
#include "support/kit.h"

namespace mpg {
namespace {

namespace fs = std::filesystem;

class ImageFiles : public testing::Test {
 protected:
  const test::ScratchFolder folder_;
  const std::string path_ = folder_ / "image";
};

TEST_F(ImageFiles, PpmIsItsHeaderAndThePixelsAsTheyAre) {
  const Picture picture{3, 1, {255, 0, 0, 10, 13, 26, 7, 8, 9}};
  WritePpmImage(path_.c_str(), picture.View());
  EXPECT_EQ(test::ReadBytes(path_), std::string("P6\n3 1\n255\n\xff\0\0\n\r\x1a\a\b\t", 20));
}

// The headers of a small unpadded bitmap, top row first.
Bytes BmpHeader(int fileBytes, int width, int height, int pixelBytes) {
  const std::pair<std::size_t, int> kBytes[] = {
      {0, 'B'}, {1, 'M'}, {2, fileBytes}, {10, 54}, {14, 40}, {18, width},     {22, -height},
      {23, -1}, {24, -1}, {25, -1},       {26, 1},  {28, 24}, {34, pixelBytes}};
  Bytes header(54);
  for (const auto& [at, byte] : kBytes) header[at] = static_cast<std::uint8_t>(byte);
  return header;
}

Bytes Joined(Bytes front, const Bytes& back) {
  front.insert(front.end(), back.begin(), back.end());
  return front;
}

TEST_F(ImageFiles, BmpStoresRowsTopFirstUnpaddedBlueGreenRed) {
  const Picture picture{1, 3, {255, 0, 0, 10, 13, 26, 7, 8, 9}};
  WriteBmpImage(path_.c_str(), picture.View());
  EXPECT_EQ(ReadFile(path_), Joined(BmpHeader(63, 1, 3, 9), {0, 0, 255, 26, 13, 10, 9, 8, 7}));
}

TEST_F(ImageFiles, MemoryBitmapHasAnEmptyColourBehindTheHeaders) {
  const Picture picture{2, 2, {255, 0, 0, 0, 255, 0, 0, 0, 255, 1, 2, 3}};
  std::uint32_t size = 0;
  const std::unique_ptr<std::uint8_t, decltype(&std::free)> block(
      BuildMemoryBitmap(picture.View(), size), std::free);
  EXPECT_EQ(
      Bytes(block.get(), block.get() + size),
      Joined(BmpHeader(66, 2, 2, 12), {0, 0, 0, 0, 0, 0, 255, 0, 255, 0, 255, 0, 0, 3, 2, 1}));
}

TEST_F(ImageFiles, BmpKeepsEveryPixelOfALargePicture) {
  const Picture picture = MakeNoisePicture(211, 101);
  WriteBmpImage(path_.c_str(), picture.View());
  const Bytes file = ReadFile(path_);
  ASSERT_EQ(file.size(), 54 + picture.pixels.size());
  for (std::size_t i = 0; i < picture.pixels.size(); ++i) {
    ASSERT_EQ(file[54 + i], picture.pixels[i - i % 3 + 2 - i % 3]) << i;
  }
}

TEST_F(ImageFiles, JpegQualitiesAbove100Are90) {
  struct Case {
    std::uint32_t given;
    int used;
  };
  const Picture picture = MakeNoisePicture(40, 30);
  for (const Case& c :
       {Case{0, 0}, Case{75, 75}, Case{100, 100}, Case{101, 90}, Case{256 + 5, 90}}) {
    WriteJpegImage(path_.c_str(), picture.View(), c.given);
    EXPECT_EQ(ReadFile(path_), Encode(picture, c.used)) << c.given;
  }
}

TEST_F(ImageFiles, JpegRefusesWhatItCannotSay) {
  const Picture picture = MakeNoisePicture(65536, 3);
  for (const RgbView& refused :
       {RgbView{nullptr, 8, 8}, RgbView{picture.pixels.data(), 0, 8},
        RgbView{picture.pixels.data(), 65536, 3}, RgbView{picture.pixels.data(), 8, -1}}) {
    EXPECT_THROW(WriteJpegImage(path_.c_str(), refused, 90), Error);
    EXPECT_FALSE(fs::exists(path_));
  }
  WriteJpegImage(path_.c_str(), {picture.pixels.data(), 65535, 3}, 90);
}

TEST_F(ImageFiles, BitmapsRefuseWhatTheyCannotHold) {
  constexpr int kGreatest = std::numeric_limits<int>::max();
  const std::uint8_t pixel[3] = {};
  for (const RgbView& image :
       {RgbView{nullptr, 1, 1}, RgbView{pixel, -1, 1}, RgbView{pixel, 1, -1},
        RgbView{pixel, -1, -1}, RgbView{pixel, kGreatest, kGreatest},
        RgbView{pixel, 65536, 65536},  // the byte count wraps to 0
        RgbView{pixel, 37838, 37838},  // to a few bytes
        // Too large with the headers alone.
        RgbView{pixel, 1, 1431655746}, RgbView{pixel, 0, 1}, RgbView{pixel, 1, 0}}) {
    SCOPED_TRACE(std::to_string(image.width) + " x " + std::to_string(image.height));
    std::uint32_t size = 12345;
    EXPECT_THROW(BuildMemoryBitmap(image, size), Error);
    EXPECT_EQ(size, 12345u);
    // Files may be empty, and have room for a row more.
    if (image.pixels != nullptr && image.width <= 1) continue;
    EXPECT_THROW(WriteBmpImage(path_.c_str(), image), Error);
    EXPECT_THROW(WritePpmImage(path_.c_str(), image), Error);
    EXPECT_FALSE(fs::exists(path_));
  }
}

}  // namespace
}  // namespace mpg
