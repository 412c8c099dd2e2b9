// A contact sheet: pictures from all over a film on one.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "images.h"
#include "mpg/mpg.h"

namespace host {
namespace {

constexpr std::uint32_t kPictureHeight = 120;

// A memory bitmap of the library: its rows are blue, green, red, from the top, without padding.
class Picture {
 public:
  Picture(const std::string& video, std::uint32_t second)
      : data_(static_cast<unsigned char*>(
                  MPG_GetImageBMP(video.c_str(), second, &size_, kPictureHeight)),
              std::free) {
    if (data_ != nullptr) std::memcpy(&width_, &data_.get()[kWidthAt], sizeof width_);
  }

  bool IsThere() const { return data_ != nullptr; }
  std::size_t RowBytes() const { return static_cast<std::size_t>(width_) * 3; }
  std::size_t Height() const { return (size_ - kBitmapRows) / RowBytes(); }
  const unsigned char* Row(std::size_t y) const {
    return &data_.get()[kBitmapRows + y * RowBytes()];
  }

 private:
  static constexpr std::size_t kWidthAt = 18;
  std::uint32_t size_ = 0;
  std::int32_t width_ = 0;
  std::unique_ptr<unsigned char, decltype(&std::free)> data_;
};

std::string Time(std::int64_t second) {
  char text[32];
  std::snprintf(text, sizeof text, "%d:%02d:%02d", static_cast<int>(second / 3600),
                static_cast<int>(second / 60 % 60), static_cast<int>(second % 60));
  return text;
}

// Pixels of the sheet, of the size that the first picture gives each cell; black where a film has
// no picture.
class Sheet {
 public:
  Sheet(const Picture& first, Grid grid)
      : cellBytes_(first.RowBytes()),
        cellHeight_(first.Height()),
        grid_(grid),
        pixels_(cellBytes_ * cellHeight_ * grid.columns * grid.rows) {}

  void Put(const Picture& picture, std::uint32_t cell) {
    const std::size_t top = cell / grid_.columns * cellHeight_;
    const std::size_t left = cell % grid_.columns * cellBytes_;
    if (picture.RowBytes() != cellBytes_ || picture.Height() != cellHeight_) return;
    for (std::size_t y = 0; y < cellHeight_; ++y) {
      std::memcpy(&pixels_[(top + y) * cellBytes_ * grid_.columns + left], picture.Row(y),
                  cellBytes_);
    }
  }

  // As a BMP file, whose rows go from the bottom up and are padded to 4 bytes.
  bool WriteBmp(const std::string& path) const {
    const std::size_t rowBytes = cellBytes_ * grid_.columns;
    const std::size_t height = cellHeight_ * grid_.rows;
    const std::size_t padded = (rowBytes + 3) / 4 * 4;
    std::string file(kBitmapHeaders + padded * height, '\0');
    const auto put = [&](std::size_t at, std::size_t value, std::size_t bytes) {
      for (; bytes > 0; --bytes, value >>= 8) file[at++] = static_cast<char>(value & 0xFF);
    };
    file[0] = 'B';
    file[1] = 'M';
    put(2, file.size(), 4);
    put(10, kBitmapHeaders, 4);
    put(14, 40, 4);
    put(18, rowBytes / 3, 4);
    put(22, height, 4);
    put(26, 1, 2);
    put(28, 24, 2);
    for (std::size_t y = 0; y < height; ++y) {
      std::memcpy(&file[kBitmapHeaders + (height - 1 - y) * padded], &pixels_[y * rowBytes],
                  rowBytes);
    }
    return WriteFile(path, file);
  }

 private:
  std::size_t cellBytes_;
  std::size_t cellHeight_;
  Grid grid_;
  std::vector<unsigned char> pixels_;
};

}  // namespace

bool SaveContactSheet(const std::string& video, const std::string& output, Grid grid,
                      std::uint32_t quality) {
  MediaInfo info;
  if (MPG_GetMediaInfo(video.c_str(), &info) == 0) return false;
  const std::int64_t cells = std::int64_t{grid.columns} * grid.rows;
  std::unique_ptr<Sheet> sheet;
  for (std::int64_t cell = 0; cell < cells; ++cell) {
    // The middle of each part.
    const std::int64_t second = info.duration * (2 * cell + 1) / (2 * cells);
    const Picture picture(video, static_cast<std::uint32_t>(second));
    if (picture.IsThere()) {
      if (sheet == nullptr) sheet = std::make_unique<Sheet>(picture, grid);
      sheet->Put(picture, static_cast<std::uint32_t>(cell));
    }
    std::printf("%10s%s", picture.IsThere() ? Time(second).c_str() : "-",
                (cell + 1) % grid.columns == 0 ? "\n" : "");
  }
  if (sheet == nullptr) return false;
  if (FormatOf(output) == MPG_IMAGE_BMP) return sheet->WriteBmp(output);
  // The library writes every other format: a picture file is to it a film of one picture.
  const std::string bitmap = output + ".part.bmp";
  const bool saved = sheet->WriteBmp(bitmap) && MPG_GetImage(FormatOf(output), bitmap.c_str(),
                                                             output.c_str(), 0, quality) != 0;
  std::remove(bitmap.c_str());
  return saved;
}

}  // namespace host
