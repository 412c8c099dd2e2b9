// Files that are written.
#pragma once

#include <string>

#include "media/handles.h"

namespace mpg {

/// What becomes of the file when an operation ends without Output::Finish.
enum class OnFailure { kKeepPartialFile, kDeleteFile };

/// The file behind a muxer, written in large blocks. Created (an existing one is cut to nothing)
/// when the object is made; closed with it at the latest.
class OutputFile {
 public:
  /// Throws Error with FFmpeg's code when the file can't be created.
  explicit OutputFile(const char* path);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile();

  /// What the muxer writes through.
  AVIOContext* Buffer() const { return buffer_; }

  /// Writes what is still buffered and closes the file; the first failure of any write so far, or
  /// of closing, or 0. A full disk often shows only here.
  int Close() noexcept;

 private:
  AVIOContext* file_ = nullptr;
  AVIOContext* buffer_ = nullptr;
};

/// The muxer of that short name; throws Error(AVERROR_EXIT) when FFmpeg has none.
const AVOutputFormat& MuxerByName(const char* shortName);

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

  /// Adds a stream; throws Error(AVERROR_UNKNOWN).
  AVStream* AddStream(const AVCodec* codec);

  /// Creates the file; throws Error with FFmpeg's code.
  void CreateFile();

  /// Throws Error with FFmpeg's code. The muxer may change the streams' time bases here.
  void WriteHeader();

  /// Hands a packet to the interleaving queue and empties it; its time stamps are in its stream's
  /// time base. 0 or a negative code, which may speak of an earlier packet.
  [[nodiscard]] int Write(AVPacket& packet);

  /// Writes everything that waits for packets of other streams. Once a stream has ended, what the
  /// others still bring would pile up in memory without it.
  [[nodiscard]] int FlushQueue();

  /// Writes the trailer and closes the file, which is kept from now on. Throws Error when bytes
  /// were lost.
  void Finish();

 private:
  std::string path_;
  OnFailure onFailure_;
  bool deleteFile_ = false;
  OutputFormatPtr format_;
  // Declared behind the muxer's context: closed before that is freed.
  std::unique_ptr<OutputFile> file_;
};

}  // namespace mpg
