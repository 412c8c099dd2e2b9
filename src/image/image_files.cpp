#include "image/image_files.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <span>
#include <string>
#include <utility>

#include "core/error.h"
#include "image/bmp_layout.h"
#include "image/jpeg_encoder.h"
#include "platform/file.h"

namespace mpg {
namespace {

using Bytes = std::span<const std::uint8_t>;

// A file that is written once, from its start to its end.
class ImageFile {
 public:
  explicit ImageFile(const char* path) { Check(file_.Open(path, platform::Access::kCreate)); }

  // Behind a failure nothing is written.
  void Put(Bytes bytes) {
    if (bytes.size() > buffer_.size() - used_) Flush();
    if (bytes.size() > buffer_.size()) {
      Write(bytes);
    } else if (!bytes.empty()) {
      std::memcpy(buffer_.data() + used_, bytes.data(), bytes.size());
      used_ += bytes.size();
    }
  }

  // Throws Error unless every byte went into the file.
  void Close() {
    Flush();
    const int closed = file_.Close();
    Check(result_);
    Check(closed);
  }

 private:
  void Flush() { Write({buffer_.data(), std::exchange(used_, 0)}); }

  void Write(Bytes bytes) {
    if (result_ == 0 && !bytes.empty()) result_ = file_.Write(bytes);
  }

  platform::File file_;
  int result_ = 0;
  std::array<std::uint8_t, 1 << 14> buffer_;
  std::size_t used_ = 0;
};

void PutInto(void* file, Bytes bytes) {
  static_cast<ImageFile*>(file)->Put(bytes);
}

}  // namespace

void WritePpmImage(const char* path, const RgbView& image) {
  const std::uint32_t pixelBytes = PixelBytes(image, 0);
  ImageFile file(path);
  const std::string header =
      "P6\n" + std::to_string(image.width) + " " + std::to_string(image.height) + "\n255\n";
  file.Put({reinterpret_cast<const std::uint8_t*>(header.data()), header.size()});
  file.Put({image.pixels, pixelBytes});
  file.Close();
}

void WriteBmpImage(const char* path, const RgbView& image) {
  const std::uint32_t pixelBytes = PixelBytes(image, kBmpHeaderBytes);
  ImageFile file(path);
  file.Put(MakeBmpHeader(image.width, image.height, pixelBytes));

  // Rows are unpadded, so the pixels are one run that can be cut anywhere.
  constexpr std::size_t kChunkPixels = 4096;
  std::array<std::uint8_t, kChunkPixels * 3> chunk;
  for (std::size_t left = pixelBytes / 3, done = 0; left > 0;) {
    const std::size_t pixels = std::min(left, kChunkPixels);
    CopyAsBlueGreenRed(image.pixels + done * 3, pixels, chunk.data());
    file.Put({chunk.data(), pixels * 3});
    left -= pixels;
    done += pixels;
  }
  file.Close();
}

void WriteJpegImage(const char* path, const RgbView& image, std::uint32_t quality) {
  constexpr std::uint32_t kHighestQuality = 100;
  constexpr std::uint32_t kFallbackQuality = 90;
  constexpr int kLongestSide = std::numeric_limits<std::uint16_t>::max();
  const auto canBeSide = [](int side) { return side > 0 && side <= kLongestSide; };
  if (image.pixels == nullptr || !canBeSide(image.width) || !canBeSide(image.height)) {
    throw Error(kInvalidArgument);
  }
  if (quality > kHighestQuality) quality = kFallbackQuality;
  ImageFile file(path);
  JpegEncoder({.take = PutInto, .context = &file}, image.pixels,
              static_cast<std::uint16_t>(image.width), static_cast<std::uint16_t>(image.height),
              static_cast<std::uint8_t>(quality));
  file.Close();
}

}  // namespace mpg
