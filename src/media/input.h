// Files that are read.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "media/file_io.h"
#include "media/frame_times.h"
#include "media/handles.h"

namespace mpg {

/// A file whose container was recognised and whose header was read, but not yet its streams.
class OpenedFile {
 public:
  /// Throws Error with the system's or FFmpeg's code when the file can't be opened or recognised;
  /// AVERROR_INVALIDDATA when it only leads to other files, as playlists do.
  /// `prefix`: bytes that are read in front of the file's own; they must outlive the input.
  explicit OpenedFile(const char* path, std::span<const std::uint8_t> prefix = {});

  /// What the header alone tells: microseconds, or AV_NOPTS_VALUE.
  std::int64_t Duration() const { return format_->duration; }
  /// Bits per second, or 0.
  std::int64_t BitRate() const { return format_->bit_rate; }

  /// The streams that the header tells of.
  std::span<AVStream* const> Streams() const { return {format_->streams, format_->nb_streams}; }
  /// Bytes, or 0 when that isn't known.
  std::int64_t FileSize() const;
  /// `name`: one of those by which FFmpeg knows the container.
  bool IsContainer(const char* name) const;

 private:
  friend class Input;
  std::unique_ptr<FileIo> io_;
  InputContextPtr format_;
};

/// How much of a file is examined before its packets are read: media/analysis.h has the reasons.
enum class Analysis { kWhole, kWithoutDecoding, kAsKnown };

/// A stream of an earlier file.
struct KnownStream {
  CodecParametersPtr opened;    // as the container's header told
  CodecParametersPtr examined;  // as FFmpeg's analysis found
};

/// A file whose streams are known. Closed with the object; streams and parameters it hands out
/// live as long.
class Input {
 public:
  /// Both throw Error with FFmpeg's code, or the system's where the file can't be read.
  explicit Input(const char* path) : Input(OpenedFile(path)) {}
  explicit Input(OpenedFile&& file);

  /// Examines the file without decoding a frame of H.264; nothing when FFmpeg couldn't.
  /// media/analysis.h says where this is allowed. What a decoder tells is missing.
  static std::optional<Input> WithoutDecoding(OpenedFile&& file);

  /// Examines nothing, but takes the streams, those that the header tells, for an earlier file's.
  /// Nothing when FFmpeg couldn't. Video packets have the times that stand in the file, none that
  /// FFmpeg makes of them.
  static std::optional<Input> AsKnown(OpenedFile&& file, std::span<const KnownStream> known);
  /// Reads the whole file into memory, from where Read takes it, as long as all is well with each
  /// packet. False when it isn't or reading fails; then the input can't be used.
  [[nodiscard]] bool ReadAhead(const std::function<bool(const AVPacket&)>& isWell);
  /// Reads one more packet into memory, from where Read takes it; null at the end and where reading
  /// fails.
  const AVPacket* ReadAheadOne();
  /// Gives the streams an earlier file's parameters, once the packets were read.
  void TakeOver(std::span<const KnownStream> known);

  AVFormatContext* Context() const { return format_.get(); }
  std::span<AVStream* const> Streams() const { return {format_->streams, format_->nb_streams}; }
  bool IsContainer(const char* name) const;
  /// How much of the file was examined.
  Analysis Examined() const { return analysis_; }

  /// Microseconds, or AV_NOPTS_VALUE.
  std::int64_t Duration() const { return format_->duration; }
  /// Bits per second, or 0.
  std::int64_t BitRate() const { return format_->bit_rate; }

  /// Bytes of the file, or 0 when that isn't known.
  std::int64_t FileSize() const;

  /// About how many bytes of the file are one stream's; 0 when that isn't known.
  std::int64_t StreamSize(const AVStream& stream) const;

  /// The system's code where reading the file failed, which Read often takes for its end; else 0.
  /// Whoever promises to have read all of it asks at the end.
  int FileError() const { return io_->FirstError(); }

  /// From now on Read hands on packets of these streams alone; the demuxer skips the others' bytes
  /// where it can.
  void SelectStreams(std::initializer_list<int> streamIndexes);
  void SelectStreams(const AVStream& stream) { SelectStreams({stream.index}); }

  /// As av_seek_frame, and what was read ahead is forgotten.
  [[nodiscard]] int Seek(const AVStream& stream, std::int64_t timeStamp, int flags);

  /// After a seek between key frames: Read passes over this stream's packets up to the next one.
  void SkipToKeyFrame(const AVStream& stream) { skippedStream_ = stream.index; }

  /// Reads the next packet into an empty or used one. 0, or AVERROR_EOF at the end (of which FFmpeg
  /// has two forms), or another negative code. After a failure the packet is empty. Frames that
  /// can't be told when they are shown keep an unknown presentation time: decoders tell by the
  /// decoding time.
  [[nodiscard]] int Read(AVPacket& packet);

 private:
  static constexpr int kNone = -1;

  struct Unexamined {};
  Input(Unexamined, OpenedFile&& file);
  // Whether FFmpeg could.
  bool Examine(AVDictionary** options);

  bool IsWanted(const AVPacket& packet);
  int ReadWanted(AVPacket& packet);
  int ReadNext(AVPacket& packet);

  std::unique_ptr<FileIo> io_;
  InputContextPtr format_;
  std::vector<int> onlyStreams_;  // empty: all
  int skippedStream_ = kNone;     // up to its next key frame
  FrameTimes frameTimes_;
  Analysis analysis_ = Analysis::kWhole;
  std::deque<PacketPtr> readAhead_;
  int readResult_ = 0;  // not handed on yet: what was read before it comes first
};

}  // namespace mpg
