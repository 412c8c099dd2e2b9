// What an H.264 stream announces about the times of its pictures.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace mpg {

/// The only sequence parameter set of a byte stream with start codes, without its start code.
/// Empty where there is none or more than one.
std::span<const std::uint8_t> FindOnlySequence(std::span<const std::uint8_t> stream);

/// True unless the units in front of the packet's first slice have another sequence parameter set.
bool KeepsSequence(std::span<const std::uint8_t> packet, std::span<const std::uint8_t> sequence);

/// By how many pictures decoding is ahead of showing. Nothing unless the parameter set announces
/// this and the pictures' rate.
std::optional<int> AnnouncedDelay(std::span<const std::uint8_t> sequence);

}  // namespace mpg
