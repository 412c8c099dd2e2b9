#include "image/image_files.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>

#include "image/jpeg_scalar_model.h"
#include "image/test_pictures.h"
#include "support/host.h"
#include "support/media.h"
#include "support/system.h"

namespace mpg::test {
namespace {

namespace fs = std::filesystem;

class ImageFiles : public testing::Test {
 protected:
  const ::test::ScratchFolder folder_;
  const std::string path_ = folder_ / "image";
  const std::string nowhere_ = folder_ / "no folder/image";
};

TEST_F(ImageFiles, PpmIsItsHeaderAndThePixelsAsTheyAre) {
  const Picture picture{3, 1, {255, 0, 0, 10, 13, 26, 7, 8, 9}};
  ASSERT_TRUE(WritePpmImage(path_.c_str(), picture.View()));
  EXPECT_EQ(::test::ReadBytes(path_), std::string("P6\n3 1\n255\n\xff\0\0\n\r\x1a\a\b\t", 20));
}

TEST_F(ImageFiles, BmpStoresRowsTopFirstUnpaddedBlueGreenRed) {
  const Picture picture{1, 3, {255, 0, 0, 10, 13, 26, 7, 8, 9}};
  ASSERT_TRUE(WriteBmpImage(path_.c_str(), picture.View()));
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
  ASSERT_TRUE(WriteBmpImage(path_.c_str(), picture.View()));
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
    ASSERT_TRUE(WriteJpegImage(path_.c_str(), picture.View(), c.given));
    EXPECT_EQ(ReadFile(path_), EncodeWithModel(picture.pixels, 40, 30, c.used)) << c.given;
  }
}

TEST_F(ImageFiles, JpegRefusesWhatItCannotSay) {
  const Picture picture = MakeNoisePicture(65536, 3);
  for (const RgbView& refused :
       {RgbView{nullptr, 8, 8}, RgbView{picture.pixels.data(), 0, 8},
        RgbView{picture.pixels.data(), 65536, 3}, RgbView{picture.pixels.data(), 8, -1}}) {
    EXPECT_FALSE(WriteJpegImage(path_.c_str(), refused, 90));
    EXPECT_FALSE(fs::exists(path_));
  }
  EXPECT_TRUE(WriteJpegImage(path_.c_str(), {picture.pixels.data(), 65535, 3}, 90));
}

TEST_F(ImageFiles, JpegsAreWrittenAtOnce) {
  const Picture picture = MakeNoisePicture(200, 100);
  const Bytes whole = EncodeWithModel(picture.pixels, 200, 100, 90);
  const std::string other = folder_ / "other";
  std::thread thread([&] {
    for (int i = 0; i < 50; ++i) EXPECT_TRUE(WriteJpegImage(other.c_str(), picture.View(), 90));
  });
  for (int i = 0; i < 50; ++i) EXPECT_TRUE(WriteJpegImage(path_.c_str(), picture.View(), 90));
  thread.join();
  EXPECT_EQ(ReadFile(path_), whole);
  EXPECT_EQ(ReadFile(other), whole);
}

using Write = std::function<bool(const char*, const RgbView&)>;

const Write kWriters[] = {WritePpmImage, WriteBmpImage, [](const char* path, const RgbView& image) {
                            return WriteJpegImage(path, image, 90);
                          }};

TEST_F(ImageFiles, AShorterFileReplacesALongerOne) {
  for (const Write& write : kWriters) {
    fs::remove(path_);
    ASSERT_TRUE(write(path_.c_str(), MakeNoisePicture(4, 4).View()));
    const Bytes alone = ReadFile(path_);
    ASSERT_TRUE(write(path_.c_str(), MakeNoisePicture(40, 40).View()));
    ASSERT_TRUE(write(path_.c_str(), MakeNoisePicture(4, 4).View()));
    EXPECT_EQ(ReadFile(path_), alone);
  }
}

TEST_F(ImageFiles, FailWhereNoFileCanBe) {
  const Picture picture = MakeShadedPicture(4, 4);
  for (const Write& write : kWriters) EXPECT_FALSE(write(nowhere_.c_str(), picture.View()));
}

TEST_F(ImageFiles, PpmAndBmpOpenNoFileForPicturesThatCannotBe) {
  const std::uint8_t pixel[3] = {};
  for (const RgbView& image : {RgbView{nullptr, 1, 1}, RgbView{pixel, 37838, 37838}}) {
    EXPECT_FALSE(WritePpmImage(path_.c_str(), image));
    EXPECT_FALSE(WriteBmpImage(path_.c_str(), image));
    EXPECT_FALSE(fs::exists(path_));
  }
}

TEST_F(ImageFiles, TellOfAFullDevice) {
  const std::string device = ::test::FullDevice();
  if (device.empty()) GTEST_SKIP() << "no full device";
  // Less than what is collected before it is written, and more.
  for (const int width : {3, 300}) {
    const Picture picture = MakeNoisePicture(width, 200);
    for (const Write& write : kWriters) EXPECT_FALSE(write(device.c_str(), picture.View()));
  }
}

}  // namespace
}  // namespace mpg::test
