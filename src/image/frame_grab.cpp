#include "image/frame_grab.h"

#include "image/image_files.h"
#include "image/memory_bitmap.h"
#include "image/poster_search.h"
#include "image/sample_search.h"
#include "platform/platform.h"

namespace mpg {
namespace {

void WriteImage(const RgbView& image, ImageFormat format, const char* path, std::uint32_t quality) {
  switch (format) {
    case MPG_IMAGE_PPM:
      return WritePpmImage(path, image);
    case MPG_IMAGE_BMP:
      return WriteBmpImage(path, image);
    case MPG_IMAGE_JPEG:
      return WriteJpegImage(path, image, quality);
    default:
      throw Error(AVERROR(EINVAL));
  }
}

RgbConverter MakeConverter(const VideoSource& source, const GrabRequest& request) {
  return {source.Decoder().width, source.Decoder().height, request.height};
}

void WritePoster(const GrabRequest& request, ImageFormat format, const char* outputPath,
                 std::int32_t position, std::uint32_t quality) {
  VideoSource source(request.inputPath);
  RgbConverter converter = MakeConverter(source, request);
  PosterSearch(source, converter, position).Find();
  Check(source.File().FileError());
  WriteImage(converter.Image(), format, outputPath, quality);
}

// The sample of a second, in its wanted size.
RgbConverter GrabSample(const GrabRequest& request, std::uint32_t second, Side side) {
  VideoSource source(request.inputPath);
  RgbConverter converter = MakeConverter(source, request);
  converter.Convert(*FindSample(source, second, side));
  return converter;
}

}  // namespace

void GrabFrameByPercent(const GrabRequest& request, ImageFormat format, const char* outputPath,
                        std::int32_t position, std::uint32_t quality) {
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
  return BuildMemoryBitmap(GrabSample(request, second, Side::kBefore).Image(), size);
}

void GrabJpegBySecond(const GrabRequest& request, std::uint32_t second, const char* outputPath) {
  constexpr std::uint32_t kQuality = 20;
  WriteJpegImage(outputPath, GrabSample(request, second, Side::kBehind).Image(), kQuality);
}

}  // namespace mpg
