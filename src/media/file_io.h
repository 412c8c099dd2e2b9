// Files as FFmpeg reads and writes them: it gets what is open, never a name.
#pragma once

#include <cstdint>
#include <span>

#include "media/ffmpeg.h"
#include "platform/file.h"

namespace mpg {

/// An open file behind FFmpeg's buffered input and output. Stays where it is: FFmpeg knows its
/// address.
class FileIo {
 public:
  enum class Direction { kRead, kWrite };

  /// `prefix`: bytes that are read as if they stood in front of the file, which is a regular one
  /// then; they must outlive the object. Throws Error(ENOMEM).
  FileIo(platform::File file, Direction direction, std::span<const std::uint8_t> prefix = {});
  FileIo(const FileIo&) = delete;
  FileIo& operator=(const FileIo&) = delete;
  /// Closes the file; bytes that still wait are lost.
  ~FileIo();

  AVIOContext* Context() const { return context_; }
  platform::File& File() { return file_; }

  /// Lets a container read or write this file and no other: what its content asks to be opened, by
  /// FFmpeg's own words or past them, is refused. Before the container's header. Throws
  /// Error(ENOMEM).
  void Serve(AVFormatContext& format);

  /// True once the container asked for another file.
  bool HasRefused() const { return hasRefused_; }

  /// The first call to the system that failed, as FFmpeg's code; else 0. Written files take no
  /// further byte from then on, because nobody knows any more where it would go.
  int FirstError() const { return firstError_; }

  /// Writes what still waits and closes the file. The first failure of all calls so far, else 0.
  [[nodiscard]] int Close() noexcept;

 private:
  static int Read(void* io, std::uint8_t* buffer, int size) noexcept;
  template <class Byte>
  static int Write(void* io, Byte* bytes, int size) noexcept;
  static std::int64_t Seek(void* io, std::int64_t offset, int whence) noexcept;
  static int RefuseToOpen(AVFormatContext* format, AVIOContext** context, const char* url,
                          int flags, AVDictionary** options) noexcept;

  std::int64_t Remember(std::int64_t result) noexcept;
  std::int64_t ReadPrefix(std::span<std::uint8_t> buffer) noexcept;
  std::int64_t SeekTo(std::int64_t position) noexcept;
  std::int64_t Size() noexcept;

  platform::File file_;
  const Direction direction_;
  const std::span<const std::uint8_t> prefix_;
  std::size_t prefixPosition_ = 0;  // the prefix's size once the file itself is read
  AVIOContext* context_ = nullptr;
  int firstError_ = 0;
  bool hasRefused_ = false;
};

}  // namespace mpg
