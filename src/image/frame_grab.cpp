#include "image/frame_grab.h"

#include <limits>
#include <utility>

#include "image/image_files.h"
#include "image/memory_bitmap.h"
#include "image/poster_search.h"
#include "media/output.h"
#include "media/seek.h"
#include "platform/platform.h"

namespace mpg {
namespace {

bool TryWriteImage(const RgbImage& image, ImageFormat format, const char* path,
                   std::uint32_t quality) {
  switch (format) {
    case MPG_IMAGE_PPM:
      return WritePpmImage(path, image);
    case MPG_IMAGE_BMP:
      return WriteBmpImage(path, image);
    case MPG_IMAGE_JPEG:
      return WriteJpegImage(path, image, quality);
    default:
      return false;
  }
}

// Throws Error when it can't be written.
void WriteImage(const RgbImage& image, ImageFormat format, const char* path,
                std::uint32_t quality) {
  if (!TryWriteImage(image, format, path, quality)) throw Error(AVERROR(EIO));
}

void WritePoster(const GrabRequest& request, ImageFormat format, const char* outputPath,
                 std::int32_t position, std::uint32_t quality) {
  VideoSource source(request.inputPath);
  RgbConverter converter(source.Decoder().width, source.Decoder().height, request.height);
  const RgbImage image = PosterSearch(source, converter, position).Find();
  Check(source.File().FileError());
  WriteImage(image, format, outputPath, quality);
}

// The two samples around a time: every 20th decoded picture is one. `before` is the last that lies
// ahead of the time, `at` the first that doesn't; either may be missing, not both.
struct Samples {
  FramePtr before;
  FramePtr at;
};

Samples ReadSamples(VideoSource& source, std::uint32_t second) {
  constexpr int kToleratedErrors = 26;
  constexpr int kStride = 20;
  std::int64_t target = std::numeric_limits<std::int64_t>::min();
  if (!source.IsCover()) {
    Check(SeekVideoToSecond(source.File(), source.Decoder(), source.Stream(), second));
    target = TimeStampAt(source.Stream(), second);
  }

  Samples samples;
  const PacketPtr packet = MakePacket();
  FramePtr picture = MakeFrame();
  int errors = 0;
  std::int64_t pictures = 0;
  for (;;) {
    const int result = source.Read(*packet);
    if (result == AVERROR_EOF && samples.before != nullptr) return samples;
    Check(result);
    const Decoded decoded = Decode(source.Decoder(), packet.get(), *picture);
    if (decoded == Decoded::kError && ++errors > kToleratedErrors) throw Error(AVERROR_UNKNOWN);
    if (decoded != Decoded::kPicture || pictures++ % kStride != 0) continue;
    // An unknown time stamp is smaller than any other.
    FramePtr& sample = packet->pts < target ? samples.before : samples.at;
    sample = std::exchange(picture, MakeFrame());
    if (samples.at != nullptr) return samples;
  }
}

Samples FindSamples(VideoSource& source, std::uint32_t second) {
  Samples samples = ReadSamples(source, second);
  Check(source.File().FileError());
  return samples;
}

}  // namespace

void GrabFrameByPercent(const GrabRequest& request, ImageFormat format, const char* outputPath,
                        std::int32_t position, std::uint32_t quality) {
  RequireOtherFile(outputPath, request.inputPath);
  const platform::Path output = outputPath;  // before memory may run out
  try {
    WritePoster(request, format, outputPath, position, quality);
    if (platform::FileSize(output) == 0) throw Error(AVERROR_UNKNOWN);
  } catch (...) {
    platform::RemoveFile(output);
    throw;
  }
}

void* GrabBitmapBySecond(const GrabRequest& request, std::uint32_t second, std::uint32_t& size) {
  VideoSource source(request.inputPath);
  RgbConverter converter(source.Decoder().width, source.Decoder().height, request.height);
  const Samples samples = FindSamples(source, second);
  return BuildMemoryBitmap(converter.Convert(*(samples.before ? samples.before : samples.at)),
                           size);
}

void GrabJpegBySecond(const GrabRequest& request, std::uint32_t second, const char* outputPath) {
  constexpr std::uint32_t kQuality = 20;
  RequireOtherFile(outputPath, request.inputPath);
  VideoSource source(request.inputPath);
  RgbConverter converter(source.Decoder().width, source.Decoder().height, request.height);
  const Samples samples = FindSamples(source, second);
  WriteImage(converter.Convert(*(samples.at ? samples.at : samples.before)), MPG_IMAGE_JPEG,
             outputPath, kQuality);
}

}  // namespace mpg
