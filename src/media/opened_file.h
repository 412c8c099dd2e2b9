// Files whose container was recognised.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "media/file_io.h"
#include "media/handles.h"

namespace mpg {

/// A file whose container was recognised and whose header was read, but not yet its streams.
/// Closed with the object; streams and parameters it hands out live as long.
class OpenedFile {
 public:
  /// Throws Error with the system's or FFmpeg's code when the file can't be opened or recognised;
  /// AVERROR_INVALIDDATA when it only leads to other files, as playlists do.
  /// `prefix`: bytes that are read in front of the file's own; they must outlive the object.
  explicit OpenedFile(const char* path, std::span<const std::uint8_t> prefix = {});

  AVFormatContext* Context() const { return format_.get(); }
  /// Those that the header tells of, and what was found since.
  std::span<AVStream* const> Streams() const { return {format_->streams, format_->nb_streams}; }
  /// `name`: one of those by which FFmpeg knows the container.
  bool IsContainer(const char* name) const;

  /// Microseconds, or AV_NOPTS_VALUE: what the header alone tells, until the streams are examined.
  std::int64_t Duration() const { return format_->duration; }
  /// Bits per second, or 0; from the header alone, too.
  std::int64_t BitRate() const { return format_->bit_rate; }
  /// Bytes, or 0 when that isn't known.
  std::int64_t FileSize() const;

  /// The system's code where reading the file failed, which FFmpeg often takes for its end; else 0.
  /// Whoever promises to have read all of it asks at the end.
  int FileError() const { return io_->FirstError(); }

  /// Throws where something FFmpeg did with the file failed: the system's code first, because what
  /// follows from a failed reading may look like anything; then FFmpeg's result; then
  /// AVERROR_INVALIDDATA where other files were asked for.
  void CheckResult(int result) const;

 private:
  std::unique_ptr<FileIo> io_;
  InputContextPtr format_;
};

}  // namespace mpg
