#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "commands.h"
#include "mpg/mpg.h"

namespace host {
namespace {

struct ThumbnailArguments {
  std::string video;
  std::string output;
  std::optional<std::uint32_t> second;
  int percent = 0;
  std::uint32_t height = 0;
  std::uint32_t quality = 80;
};

// The rows of a memory bitmap lie 4 bytes behind where a BMP file has them.
bool WriteBitmap(const unsigned char* bitmap, std::uint32_t size, const std::string& path) {
  constexpr std::size_t kHeaders = 54;
  constexpr std::size_t kRows = 58;
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) return false;
  const bool written = std::fwrite(bitmap, 1, kHeaders, file) == kHeaders &&
                       std::fwrite(bitmap + kRows, 1, size - kRows, file) == size - kRows;
  return std::fclose(file) == 0 && written;
}

bool SaveAtSecond(const ThumbnailArguments& arguments, ImageFormat format) {
  if (format == MPG_IMAGE_JPEG) {
    return MPG_GetImageJPG(arguments.video.c_str(), arguments.output.c_str(), *arguments.second,
                           arguments.height) != 0;
  }
  std::uint32_t size = 0;
  const std::unique_ptr<void, decltype(&std::free)> bitmap(
      MPG_GetImageBMP(arguments.video.c_str(), *arguments.second, &size, arguments.height),
      std::free);
  return bitmap != nullptr &&
         WriteBitmap(static_cast<const unsigned char*>(bitmap.get()), size, arguments.output);
}

void SaveThumbnail(const ThumbnailArguments& arguments) {
  const std::string extension = std::filesystem::path(arguments.output).extension().string();
  const ImageFormat format = extension == ".ppm"   ? MPG_IMAGE_PPM
                             : extension == ".bmp" ? MPG_IMAGE_BMP
                                                   : MPG_IMAGE_JPEG;
  const bool saved = arguments.second ? SaveAtSecond(arguments, format)
                                      : MPG_GetImageP(format, arguments.video.c_str(),
                                                      arguments.output.c_str(), arguments.percent,
                                                      static_cast<std::int32_t>(arguments.height),
                                                      arguments.quality) != 0;
  if (!saved) {
    std::fprintf(stderr, "thumbnail: no picture of %s\n", arguments.video.c_str());
    Exit(kFailedOrStopped);
  }
  std::printf("wrote %s\n", arguments.output.c_str());
}

}  // namespace

void AddImageCommands(CLI::App& app) {
  const auto arguments = std::make_shared<ThumbnailArguments>();
  CLI::App* const thumbnail =
      app.add_subcommand("thumbnail", "Save a picture of a video (.jpg, .bmp or .ppm)");
  thumbnail->add_option("video", arguments->video)->required();
  thumbnail->add_option("output", arguments->output)->required();
  CLI::Option* const percent =
      thumbnail->add_option("--percent", arguments->percent, "First key picture behind this share");
  thumbnail->add_option("--second", arguments->second, "Picture near this time (.jpg or .bmp)")
      ->excludes(percent);
  thumbnail->add_option("--height", arguments->height, "Pixels; 0 for the video's own size");
  thumbnail->add_option("--quality", arguments->quality,
                        "JPEG quality, 1 to 100; not for --second");
  thumbnail->callback([arguments] { SaveThumbnail(*arguments); });
}

}  // namespace host
