#include "image/frame_grab.h"

#include "image/image_files.h"
#include "image/memory_bitmap.h"
#include "image/poster_search.h"
#include "image/sample_search.h"
#include "media/output.h"
#include "platform/platform.h"

namespace mpg {
namespace {

bool TryWriteImage(const RgbView& image, ImageFormat format, const char* path,
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
void WriteImage(const RgbView& image, ImageFormat format, const char* path, std::uint32_t quality) {
  if (!TryWriteImage(image, format, path, quality)) throw Error(AVERROR(EIO));
}

void WritePoster(const GrabRequest& request, ImageFormat format, const char* outputPath,
                 std::int32_t position, std::uint32_t quality) {
  VideoSource source(request.inputPath);
  RgbConverter converter(source.Decoder().width, source.Decoder().height, request.height);
  const RgbView image = PosterSearch(source, converter, position).Find();
  Check(source.File().FileError());
  WriteImage(image, format, outputPath, quality);
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
  return BuildMemoryBitmap(converter.Convert(*FindSample(source, second, Side::kBefore)), size);
}

void GrabJpegBySecond(const GrabRequest& request, std::uint32_t second, const char* outputPath) {
  constexpr std::uint32_t kQuality = 20;
  RequireOtherFile(outputPath, request.inputPath);
  VideoSource source(request.inputPath);
  RgbConverter converter(source.Decoder().width, source.Decoder().height, request.height);
  WriteImage(converter.Convert(*FindSample(source, second, Side::kBehind)), MPG_IMAGE_JPEG,
             outputPath, kQuality);
}

}  // namespace mpg
