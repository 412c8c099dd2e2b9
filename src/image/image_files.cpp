#include "image/image_files.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <memory>

#include "image/bmp_layout.h"
#include "image/jpeg_encoder.h"
#include "platform/platform.h"

namespace mpg {
namespace {

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePointer = std::unique_ptr<std::FILE, FileCloser>;

FilePointer OpenForWriting(const char* path) {
  return FilePointer(std::fopen(path, "wb"));
}

// The process's one JPEG file. Its failbit stands for a failed open or close, its badbit for a
// failed write; opening it successfully clears both. Libraries are unloaded after their last call,
// so no byte is on its way when it goes.
class JpegOutputStream {
 public:
  // False when the path can't be opened or a file is still open, which then stays open.
  bool Open(const char* path) {
    stream_.open(path, std::ios::binary | std::ios::trunc);
    return !stream_.fail();
  }

  void Put(std::uint8_t byte) {
    if (stream_.fail()) return;
    // Past the stream's own put, whose guard for each byte made a noisy picture take 1.4 times as
    // long to write.
    using Traits = std::ofstream::traits_type;
    const auto written = stream_.rdbuf()->sputc(static_cast<char>(byte));
    if (Traits::eq_int_type(written, Traits::eof())) stream_.setstate(std::ios::badbit);
  }

  void Close() { stream_.close(); }

 private:
  std::ofstream stream_;
};

JpegOutputStream jpegOutput;

// Below 0 as 0, which the encoder refuses: cut to 16 bits, a negative side would seem a large one.
std::uint16_t JpegSide(int side) {
  return static_cast<std::uint16_t>(std::max(side, 0));
}

}  // namespace

bool WritePpmImage(const char* path, const RgbImage& image) {
  const auto pixelBytes = PixelBytes(image, 0);
  if (!pixelBytes) return false;
  const FilePointer file = OpenForWriting(path);
  if (!file) return false;
  std::fprintf(file.get(), "P6\n%d %d\n255\n", image.width, image.height);
  return std::fwrite(image.pixels, 1, *pixelBytes, file.get()) == *pixelBytes;
}

bool WriteBmpImage(const char* path, const RgbImage& image) {
  const auto pixelBytes = PixelBytes(image, kBmpHeaderBytes);
  if (!pixelBytes) return false;
  const FilePointer file = OpenForWriting(path);
  if (!file) return false;
  const auto header = MakeBmpHeader(image.width, image.height, *pixelBytes);
  std::fwrite(header.data(), 1, header.size(), file.get());

  // Rows are unpadded, so the pixels are one run that can be cut anywhere.
  constexpr std::size_t kChunkPixels = 4096;
  std::array<std::uint8_t, kChunkPixels * 3> chunk;
  for (std::size_t left = *pixelBytes / 3, done = 0; left > 0;) {
    const std::size_t pixels = std::min(left, kChunkPixels);
    CopyAsBlueGreenRed(image.pixels + done * 3, pixels, chunk.data());
    std::fwrite(chunk.data(), 3, pixels, file.get());
    left -= pixels;
    done += pixels;
  }
  return true;
}

bool WriteJpegImage(const char* path, const RgbImage& image, std::uint32_t quality) {
  constexpr std::uint32_t kHighestQuality = 100;
  constexpr std::uint32_t kFallbackQuality = 90;
  if (!jpegOutput.Open(path)) return false;
  if (quality > kHighestQuality) quality = kFallbackQuality;
  const bool encoded = JpegEncoder(JpegByteSink, image.pixels, JpegSide(image.width),
                                   JpegSide(image.height), static_cast<std::uint8_t>(quality));
  jpegOutput.Close();
  return encoded;
}

void JpegByteSink(std::uint8_t byte) {
  jpegOutput.Put(byte);
}

}  // namespace mpg
