// What an H.264 sequence parameter set announces.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace mpg {

/// By how many frames decoding is ahead of showing. Nothing unless the parameter set, without its
/// start code, says so.
std::optional<int> AnnouncedDelay(std::span<const std::uint8_t> sequence);

}  // namespace mpg
