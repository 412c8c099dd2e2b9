// Pictures of a video, for the commands that save some.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "mpg/mpg.h"

namespace host {

/// A memory bitmap: where a BMP file's headers end, and where its rows begin, 4 bytes further on.
inline constexpr std::size_t kBitmapHeaders = 54;
inline constexpr std::size_t kBitmapRows = 58;

struct Grid {
  std::uint32_t columns = 0;
  std::uint32_t rows = 0;
};

/// By the file's extension; JPEG unless it is known.
ImageFormat FormatOf(const std::string& path);

bool WriteFile(const std::string& path, const std::string& content);

/// Saves one picture of each part of a video, and prints their times in the order of the pictures.
bool SaveContactSheet(const std::string& video, const std::string& output, Grid grid,
                      std::uint32_t quality);

}  // namespace host
