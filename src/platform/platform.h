// Everything the library asks of the operating system itself. One source file per system stands
// behind this header; nothing else knows which system it runs on.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace mpg::platform {

// Paths are the host's. On Windows they are in the ANSI code page; UTF-8 is recognised, since
// FFmpeg always took it. The functions below see to both by themselves.

/// The path as the C library and the system's narrow functions take it.
std::string SystemName(const char* path);

/// The path as FFmpeg takes it: on Windows it refuses names that aren't UTF-8. Empty, which FFmpeg
/// refuses, when it is too long for the system's own functions: they couldn't delete the file.
std::string FfmpegName(const char* path);

/// True when both paths name one existing file, also through links or another spelling. False when
/// either doesn't exist or can't be examined.
bool IsSameFile(const char* path, const char* otherPath) noexcept;

/// True when something other than a directory stands at the path, a link being what it leads to.
bool IsFile(const char* path) noexcept;

/// Deletes a file. Devices, directories and missing files are left alone: an output of the library
/// may well be one of them.
void RemoveFile(const char* path) noexcept;

/// Bytes of a regular file; 0 when there is none of that name.
std::uint64_t FileSize(const char* path) noexcept;

/// Fills a buffer with a file's bytes from a position on. 0, or a negative errno code: EIO when the
/// file has fewer.
[[nodiscard]] int ReadFileAt(const char* path, std::uint64_t position,
                             std::span<std::uint8_t> buffer) noexcept;

/// Puts bytes over the beginning of an existing file; what lies behind them stays. 0, or a negative
/// errno code: EIO when not all could be written, any other when the file couldn't be opened and is
/// as it was.
[[nodiscard]] int OverwriteStart(const char* path, std::span<const std::uint8_t> bytes) noexcept;

/// Asks the file system to set space aside for a file that is about to be written, without changing
/// its size: it can then lie in one piece, and writing it costs less. True when it did.
bool ReserveSpace(const char* path, std::int64_t bytes) noexcept;

/// Gives back what was set aside beyond the file's end.
void ReleaseSpareSpace(const char* path) noexcept;

}  // namespace mpg::platform
