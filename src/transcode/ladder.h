// Ladders of usual values.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace mpg {

/// The smallest value of an ascending table that isn't below the request, else its last.
template <std::size_t N>
constexpr std::int32_t SnapUp(const std::array<std::int32_t, N>& table, std::int32_t request) {
  const auto found = std::ranges::lower_bound(table, request);
  return found == table.end() ? table.back() : *found;
}

}  // namespace mpg
