// What stands at a path, without opening it for its content. One source file per system stands
// behind this header, path.h, file.h and system.h; nothing else knows which system it runs on.
#pragma once

#include <cstdint>

#include "platform/path.h"

namespace mpg::platform {

/// 1 when both paths name one existing file, also through links or another spelling; 0 when they
/// don't, or nothing stands at either; a negative errno code when the system doesn't tell: whoever
/// would destroy the one must leave it then.
[[nodiscard]] int CompareFiles(const Path& path, const Path& otherPath) noexcept;

/// False when nothing stands at the path, or a directory. True for everything else, a link being
/// what it leads to, and when the system doesn't tell: opening it says why.
bool IsFile(const Path& path) noexcept;

/// Deletes a file. Devices, directories and missing files are left alone: an output of the library
/// may well be one of them. Of a link only the link goes.
void RemoveFile(const Path& path) noexcept;

/// Bytes of a regular file; 0 when there is none of that name.
std::uint64_t FileSize(const Path& path) noexcept;

}  // namespace mpg::platform
