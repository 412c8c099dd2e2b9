// Open files: all bytes that the library reads and writes go through this class.
#pragma once

#include <cstdint>
#include <span>
#include <utility>

#include "platform/path.h"

namespace mpg::platform {

enum class Access {
  kRead,
  kCreate,  // an existing file is cut to nothing
  kUpdate,  // an existing regular file, written over from its start on
};

/// An open file. Every result is 0 or a negative errno code, the same on all systems, unless said
/// otherwise; what was interrupted or done in part goes on by itself.
class File {
 public:
  File() = default;
  File(File&& other) noexcept
      : handle_(std::exchange(other.handle_, kClosed)), hasReserve_(other.hasReserve_) {}
  File& operator=(File&&) = delete;
  /// Closes it; what closing could still tell is lost.
  ~File() { static_cast<void>(Close()); }

  [[nodiscard]] int Open(const Path& path, Access access) noexcept;
  bool IsOpen() const noexcept { return handle_ != kClosed; }

  /// Reads some bytes, at least one: their number, 0 at the file's end, or a negative code.
  [[nodiscard]] std::int64_t Read(std::span<std::uint8_t> buffer) noexcept;

  /// Fills the buffer from a position on; -EIO when the file ends before.
  [[nodiscard]] int ReadAt(std::int64_t position, std::span<std::uint8_t> buffer) noexcept;

  /// Writes all bytes, with one call where the system takes them at once.
  [[nodiscard]] int Write(std::span<const std::uint8_t> bytes) noexcept;

  /// From the file's start; -ESPIPE for pipes and the like.
  [[nodiscard]] int Seek(std::int64_t position) noexcept;

  /// Bytes, or a negative code.
  [[nodiscard]] std::int64_t Size() noexcept;

  /// Asks the file system to set space aside for what is about to be written, without changing the
  /// size: the file can then lie in one piece, and writing it costs less. Only a hint. Closing
  /// gives back what wasn't used.
  void Reserve(std::int64_t bytes) noexcept;

  /// A failure means that bytes were lost. The file is closed all the same.
  [[nodiscard]] int Close() noexcept;

 private:
  static constexpr std::intptr_t kClosed = -1;
  std::intptr_t handle_ = kClosed;  // a descriptor, or a HANDLE
  bool hasReserve_ = false;
};

}  // namespace mpg::platform
