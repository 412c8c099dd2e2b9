// Files that are read packet by packet.
#pragma once

#include <cstdint>
#include <deque>
#include <initializer_list>
#include <utility>
#include <vector>

#include "media/frame_times.h"
#include "media/opened_file.h"

namespace mpg {

/// How much of a file is examined before its packets are read: media/analysis.h has the reasons.
enum class Analysis { kWhole, kWithoutDecoding, kAsKnown };

/// A file whose streams are known; media/analysis.h makes them so.
class Input : public OpenedFile {
 public:
  Input(OpenedFile&& file, Analysis examined);

  /// How much of the file was examined.
  Analysis Examined() const { return examined_; }

  /// About how many bytes of the file are one stream's; 0 when that isn't known.
  std::int64_t StreamSize(const AVStream& stream) const;

  /// From now on Read hands on packets of these streams alone; the demuxer skips the others' bytes
  /// where it can.
  void SelectStreams(std::initializer_list<int> streamIndexes);
  void SelectStreams(const AVStream& stream) { SelectStreams({stream.index}); }

  /// As av_seek_frame, and what was read ahead is forgotten.
  [[nodiscard]] int Seek(const AVStream& stream, std::int64_t timeStamp, int flags);

  /// Reads the next packet into an empty or used one. 0, or AVERROR_EOF at the end (of which FFmpeg
  /// has two forms), or another negative code. After a failure the packet is empty. Frames that
  /// can't be told when they are shown keep an unknown presentation time: decoders tell by the
  /// decoding time.
  [[nodiscard]] int Read(AVPacket& packet);

  /// Reads the file's next packet ahead of Read and as the demuxer gives it, of any stream. Read
  /// doesn't see it unless it is put back. As av_read_frame.
  [[nodiscard]] int ReadAhead(AVPacket& packet);
  /// Read takes what was put back in that order, and then goes on with the file.
  void PutBack(PacketPtr packet) { readAhead_.push_back(std::move(packet)); }

 private:
  bool IsWanted(const AVPacket& packet) const;
  int ReadWanted(AVPacket& packet);
  int ReadNext(AVPacket& packet);

  Analysis examined_;
  std::vector<int> onlyStreams_;  // empty: all
  std::deque<PacketPtr> readAhead_;
  FrameTimes frameTimes_;
  int readResult_ = 0;  // not handed on yet: what was read before it comes first
};

}  // namespace mpg
