// Files that are written.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "media/avi_ticks.h"
#include "media/file_io.h"
#include "media/handles.h"

namespace mpg {

/// Throws Error where the output's path names an input: MPG_ERR_INVALID_PARAMETER, or the system's
/// code when that can't be told. Before anything is touched.
void RequireOtherFile(const char* outputPath, const char* inputPath);

/// What becomes of the file when an operation ends without Output::Finish.
enum class OnFailure { kKeepPartialFile, kDeleteFile };

/// The muxer of that short name; throws Error(AVERROR_EXIT) when FFmpeg has none.
const AVOutputFormat& MuxerByName(const char* shortName);

/// The muxer that a file's name suggests; throws Error(AVERROR_EXIT) when there is none, or none
/// that writes one file and nothing else.
const AVOutputFormat& MuxerForFile(const char* path);

/// Packets that could not be written, up to a limit.
class WriteFailures {
 public:
  static constexpr int kOfAJoin = 25;
  static constexpr int kUnlimited = std::numeric_limits<int>::max();

  explicit WriteFailures(int tolerated = 0) : tolerated_(tolerated) {}

  /// Takes the result of a write; throws Error with it when it is one failure too many.
  void Count(int result) {
    if (RequireMemory(result) < 0 && count_++ == tolerated_) throw Error(result);
  }

  int Number() const { return count_; }

 private:
  int tolerated_;
  int count_ = 0;
};

/// One output: muxer, streams and file. The caller adds streams, creates the file, writes the
/// header, the packets, and finishes, in that order (the file may also come before the streams).
class Output {
 public:
  /// Nothing is created on disk yet.
  Output(const AVOutputFormat& muxer, const char* path, OnFailure onFailure);
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  /// Closes the file, and deletes it where that was asked for; never writes a trailer.
  ~Output();

  AVFormatContext* Context() const { return format_.get(); }

  /// Adds a stream; throws Error(ENOMEM).
  AVStream* AddStream(const AVCodec* codec);

  /// Creates the file, an existing one is cut to nothing; throws Error with the system's code.
  void CreateFile();

  /// Says about how many bytes the file will get, so that the file system can lay it out in one
  /// piece. Only a hint.
  void ExpectSize(std::int64_t bytes);

  /// Throws Error with FFmpeg's code. The muxer may change the streams' time bases here. From here
  /// on H.264 and HEVC packets are repackaged for muxers that don't do it themselves.
  void WriteHeader();

  /// Hands a packet to the interleaving queue and empties it; its time stamps are in its stream's
  /// time base. 0 or a negative code, which may speak of an earlier packet. Throws Error where a
  /// container without time stamps can't be filled up to a stream's start.
  [[nodiscard]] int Write(AVPacket& packet);

  /// True once the muxer took a packet. An output without any is of no use to anyone.
  bool HasPackets() const { return hasPackets_; }

  /// Writes everything that waits for packets of other streams. Once a stream has ended, what the
  /// others still bring would pile up in memory without it. Throws what `failures` throws.
  void FlushQueue(WriteFailures& failures);

  /// Closes the file as it is, so that it can be read; OnFailure still holds. Throws Error when
  /// bytes were lost.
  void CloseUnfinished();

  /// Writes what waits and the trailer and closes the file, which is kept from now on. Throws Error
  /// when bytes were lost, and what `failures` throws.
  void Finish(WriteFailures& failures);
  /// No packet may be lost.
  void Finish() {
    WriteFailures none;
    Finish(none);
  }

 private:
  void PrepareRepackaging();
  int Interleave(AVPacket& packet);

  platform::Path path_;
  OnFailure onFailure_;
  bool deleteFile_ = false;
  bool hasPackets_ = false;
  std::optional<FileIo> io_;
  OutputContextPtr format_;
  std::optional<AviTicks> aviTicks_;             // none: another container
  std::vector<BitstreamFilterPtr> repackagers_;  // by stream index; most are null
};

}  // namespace mpg
