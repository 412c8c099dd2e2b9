// Files whose clock is set back in the middle, as by transport streams put one behind the other.
#pragma once

#include <cstdint>
#include <vector>

#include "media/ffmpeg.h"

namespace mpg {

/// Moves the packets of one file so that behind a jump back every stream goes on one step later.
/// Streams that belong together stay together: all of them move by the same time.
class ContinuousClock {
 public:
  /// Moves a packet's time stamps; of every packet that is used, in the order of the file.
  void Follow(AVPacket& packet, const AVStream& stream);

 private:
  // Times in microseconds.
  struct Track {
    int stream;
    std::int64_t offset;    // between the file's times and those that go on
    std::int64_t last = 0;  // decoding time of the last packet, moved
    std::int64_t end = 0;   // where the next packet is due
    bool hasDecodingTimes = false;
    bool isBehind = false;  // the file's clock was set back, but not yet for this stream
  };

  Track& TrackOf(const AVStream& stream, std::int64_t time);
  void Advance(Track& track, std::int64_t time, std::int64_t tolerance);
  void StartAnew(Track& track, std::int64_t time);
  void Join(Track& track, std::int64_t time);
  void MoveBy(std::int64_t offset);

  std::vector<Track> tracks_;
  std::int64_t offset_ = 0;  // of the tracks that aren't behind
  std::int64_t now_ = 0;     // moved time of the last packet of these
};

}  // namespace mpg
