#include "image/image_files.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <thread>

#include "core/error.h"
#include "image/test_pictures.h"
#include "support/host.h"
#include "support/media.h"

namespace mpg::test {
namespace {

namespace fs = std::filesystem;

class ImageFiles : public testing::Test {
 protected:
  const ::test::ScratchFolder folder_;
  const std::string path_ = folder_ / "image";
};

TEST_F(ImageFiles, PpmIsItsHeaderAndThePixelsAsTheyAre) {
  const Picture picture{3, 1, {255, 0, 0, 10, 13, 26, 7, 8, 9}};
  WritePpmImage(path_.c_str(), picture.View());
  EXPECT_EQ(::test::ReadBytes(path_), std::string("P6\n3 1\n255\n\xff\0\0\n\r\x1a\a\b\t", 20));
}

TEST_F(ImageFiles, BmpStoresRowsTopFirstUnpaddedBlueGreenRed) {
  const Picture picture{1, 3, {255, 0, 0, 10, 13, 26, 7, 8, 9}};
  WriteBmpImage(path_.c_str(), picture.View());
  const Bytes expected = {
      'B', 'M', 63,  0,  0,  0,  0, 0, 0,    0,    54,   0,    0, 0,         // file header
      40,  0,   0,   0,  1,  0,  0, 0, 0xfd, 0xff, 0xff, 0xff, 1, 0, 24, 0,  // sizes
      0,   0,   0,   0,  9,  0,  0, 0, 0,    0,    0,    0,    0, 0, 0,  0,
      0,   0,   0,   0,  0,  0,  0, 0,  //
      0,   0,   255, 26, 13, 10, 9, 8, 7};
  EXPECT_EQ(ReadFile(path_), expected);
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
  const Picture picture = MakeShadedPicture(40, 30);
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

TEST_F(ImageFiles, JpegsAreWrittenAtOnce) {
  const Picture picture = MakeNoisePicture(200, 100);
  const Bytes whole = Encode(picture, 90);
  const std::string other = folder_ / "other";
  std::thread thread([&] {
    for (int i = 0; i < 50; ++i) WriteJpegImage(other.c_str(), picture.View(), 90);
  });
  for (int i = 0; i < 50; ++i) WriteJpegImage(path_.c_str(), picture.View(), 90);
  thread.join();
  EXPECT_EQ(ReadFile(path_), whole);
  EXPECT_EQ(ReadFile(other), whole);
}

TEST_F(ImageFiles, PpmAndBmpOpenNoFileForPicturesThatCannotBe) {
  const std::uint8_t pixel[3] = {};
  for (const RgbView& image : {RgbView{nullptr, 1, 1}, RgbView{pixel, 37838, 37838}}) {
    EXPECT_THROW(WritePpmImage(path_.c_str(), image), Error);
    EXPECT_THROW(WriteBmpImage(path_.c_str(), image), Error);
    EXPECT_FALSE(fs::exists(path_));
  }
}

}  // namespace
}  // namespace mpg::test
