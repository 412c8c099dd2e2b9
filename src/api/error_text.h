// Texts of result codes.
#pragma once

#include <cstdint>

namespace mpg {

/// The library's own text for its own codes, else FFmpeg's in one process-wide buffer of 260 bytes.
const char* ErrorText(std::int32_t code);

}  // namespace mpg
