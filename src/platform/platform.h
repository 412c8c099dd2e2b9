// Everything the library asks of the operating system itself. One source file per system stands
// behind this header; nothing else knows which system it runs on.
#pragma once

namespace mpg::platform {

/// True when both paths name one existing file, also through links or another spelling. False when
/// either doesn't exist or can't be examined.
bool IsSameFile(const char* path, const char* otherPath) noexcept;

/// Deletes a file. Devices, directories and missing files are left alone: an output of the library
/// may well be one of them.
void RemoveFile(const char* path) noexcept;


}  // namespace mpg::platform
