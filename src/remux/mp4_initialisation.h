// Fragments of MP4 files that are stored without the header they belong to.
#pragma once

#include <cstdint>
#include <vector>

namespace mpg {

/// What a fragment needs in front to be read: the start of a fragmented MP4 file, up to and with
/// its `moov`. Empty when the file has none or can't be read.
std::vector<std::uint8_t> ReadInitialisation(const char* path);

/// True when the file begins as MP4, but with fragments and no `moov` before them.
bool LacksInitialisation(const char* path);

}  // namespace mpg
