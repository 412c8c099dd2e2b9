#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "commands.h"
#include "images.h"
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
  std::string sheet;
};

// The rows of a memory bitmap lie 4 bytes behind where a BMP file has them.
bool WriteBitmap(const char* bitmap, std::uint32_t size, const std::string& path) {
  return WriteFile(path, std::string(bitmap, kBitmapHeaders) +
                             std::string(bitmap + kBitmapRows, size - kBitmapRows));
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
         WriteBitmap(static_cast<const char*>(bitmap.get()), size, arguments.output);
}

bool SaveByPercent(const ThumbnailArguments& arguments, ImageFormat format) {
  return MPG_GetImageP(format, arguments.video.c_str(), arguments.output.c_str(), arguments.percent,
                       static_cast<std::int32_t>(arguments.height), arguments.quality) != 0;
}

// "4x3" is four columns and three rows.
std::optional<Grid> ParseGrid(const std::string& text) {
  Grid grid;
  char rest = 0;
  constexpr std::uint32_t kMost = 20;
  const bool isGrid =
      std::sscanf(text.c_str(), "%2ux%2u%c", &grid.columns, &grid.rows, &rest) == 2 &&
      grid.columns >= 1 && grid.columns <= kMost && grid.rows >= 1 && grid.rows <= kMost;
  return isGrid ? std::optional(grid) : std::nullopt;
}

void SaveThumbnail(const ThumbnailArguments& arguments) {
  const ImageFormat format = FormatOf(arguments.output);
  const bool saved = !arguments.sheet.empty()
                         ? SaveContactSheet(arguments.video, arguments.output,
                                            *ParseGrid(arguments.sheet), arguments.quality)
                     : arguments.second ? SaveAtSecond(arguments, format)
                                        : SaveByPercent(arguments, format);
  if (!saved) {
    const std::string reason = WhyUnreadable(arguments.video);
    std::fprintf(stderr, "thumbnail: %s\n",
                 reason.empty() ? (arguments.video + ": no picture could be saved").c_str()
                                : reason.c_str());
    Exit(kFailedOrStopped);
  }
  std::printf("wrote %s\n", arguments.output.c_str());
}

}  // namespace

ImageFormat FormatOf(const std::string& path) {
  const std::string extension = std::filesystem::path(path).extension().string();
  return extension == ".ppm" ? MPG_IMAGE_PPM : extension == ".bmp" ? MPG_IMAGE_BMP : MPG_IMAGE_JPEG;
}

bool WriteFile(const std::string& path, const std::string& content) {
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) return false;
  const bool written = std::fwrite(content.data(), 1, content.size(), file) == content.size();
  return std::fclose(file) == 0 && written;
}

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
  thumbnail->add_option("--sheet", arguments->sheet, "One picture of many, such as 4x3")
      ->check([](const std::string& text) {
        return ParseGrid(text) ? std::string() : text + " is no grid from 1x1 to 20x20";
      })
      ->excludes(percent)
      ->excludes("--second")
      ->excludes("--height");
  thumbnail->callback([arguments] { SaveThumbnail(*arguments); });
}

}  // namespace host
