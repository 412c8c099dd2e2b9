// How a failure travels inside the library: as an exception that carries the code the host gets.
// Routine outcomes (end of input, a packet that may be skipped) stay plain values.
#pragma once

#include <cstdint>
#include <exception>

namespace mpg {

/// A failed operation. The code is what the host receives: one of MPG_ERR_... or FFmpeg's AVERROR.
class Error : public std::exception {
 public:
  explicit Error(std::int32_t code) noexcept : code_(code) {}
  std::int32_t Code() const noexcept { return code_; }
  const char* what() const noexcept override { return "mpg operation failed"; }

 private:
  std::int32_t code_;
};

/// Passes on the result of an FFmpeg call; throws Error when it is negative.
inline int Check(int result) {
  if (result < 0) throw Error(result);
  return result;
}

constexpr std::int32_t kOutOfMemory = -12;      // AVERROR(ENOMEM)
constexpr std::int32_t kInvalidArgument = -22;  // AVERROR(EINVAL)

/// Passes on a freshly allocated object; throws Error(ENOMEM) when there is none.
template <class T>
T* CheckAllocated(T* object) {
  if (object == nullptr) throw Error(kOutOfMemory);
  return object;
}

/// Passes on a result of which failures are tolerated, such as that of a broken packet; throws
/// Error(ENOMEM) where memory ran out, which is no property of the packet.
inline int RequireMemory(int result) {
  if (result == kOutOfMemory) throw Error(result);
  return result;
}

}  // namespace mpg
