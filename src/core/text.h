// Bounded copies of narrow texts into the fixed-size fields of records.
#pragma once

#include <algorithm>
#include <cstddef>
#include <span>
#include <string_view>

namespace mpg {

/// Copies as much of the text as fits with its terminator; the rest is cut off. An empty field
/// stays untouched.
inline void CopyText(std::span<char> field, std::string_view text) noexcept {
  if (field.empty()) return;
  const std::size_t length = std::min(text.size(), field.size() - 1);
  std::copy_n(text.data(), length, field.data());
  field[length] = '\0';
}

/// Copies the whole text with its terminator, or makes the field empty when it doesn't fit.
inline void CopyWholeText(std::span<char> field, std::string_view text) noexcept {
  CopyText(field, text.size() < field.size() ? text : std::string_view{});
}

}  // namespace mpg
