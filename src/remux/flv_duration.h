// Giving an FLV file a header that tells its real duration.
#pragma once

#include <cstdint>
#include <span>

namespace mpg {

/// Writes a fresh header over the file's own: file header, script tag and decoder set-ups, of
/// exactly the same length. Everything behind it stays. A file of duration 0 is left alone. Throws
/// Error; the file is then as it was. AVERROR_INVALIDDATA: it is no FLV file, has no known
/// duration, or no header of that length can be made.
void RepairFlvDuration(const char* path);

/// Puts bytes over the beginning of a file. When that fails midway the old ones are put back.
/// Throws Error with the system's code.
void ReplaceFileStart(const char* name, std::span<const std::uint8_t> bytes);

}  // namespace mpg
