// Everything the library asks of the operating system itself. One source file per system stands
// behind this header; nothing else knows which system it runs on.
#pragma once

#include <cstdint>

namespace mpg::platform {

/// True when both paths name one existing file, also through links or another spelling. False when
/// either doesn't exist or can't be examined.
bool IsSameFile(const char* path, const char* otherPath) noexcept;

/// Deletes a file. Devices, directories and missing files are left alone: an output of the library
/// may well be one of them.
void RemoveFile(const char* path) noexcept;

/// Bytes of a regular file; 0 when there is none of that name.
std::uint64_t FileSize(const char* path) noexcept;

/// Asks the file system to set space aside for a file that is about to be written, without changing
/// its size: it can then lie in one piece, and writing it costs less. True when it did.
bool ReserveSpace(const char* path, std::int64_t bytes) noexcept;

/// Gives back what was set aside beyond the file's end.
void ReleaseSpareSpace(const char* path) noexcept;

}  // namespace mpg::platform
