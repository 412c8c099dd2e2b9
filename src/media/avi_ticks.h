// Time in AVI files that are written.
#pragma once

#include <cstdint>
#include <deque>
#include <vector>

#include "media/handles.h"

namespace mpg {

/// AVI holds no time stamps: the n-th chunk of a stream is its n-th tick. Packets go to the next
/// free tick; a stream that starts later than another gets empty frames or silence ahead of it.
/// The first frame of a stream is shown at its first tick, whatever is decoded ahead.
class AviTicks {
 public:
  /// Before the header; the container must outlive the object.
  explicit AviTicks(AVFormatContext& format);

  /// Takes a packet in its stream's time base. Throws Error where the start can't be filled: with
  /// AVERROR_UNKNOWN or the encoder's code.
  void Put(AVPacket& packet);

  /// Nothing more is to be waited for. Throws as Put.
  void End();

  /// Moves the next packet for the muxer into an empty one; false when there is none.
  bool Take(AVPacket& packet);

 private:
  struct Track {
    std::int64_t start = AV_NOPTS_VALUE;  // of the first packet, when it is to be seen or heard
    std::int64_t lag = 0;                 // from decoding to showing the first frame
    std::int64_t offset = 0;              // tick 0
    std::int64_t last = -1;               // the tick taken last
  };

  bool HaveAllStarted() const;
  void Begin();
  void FillStart(const AVStream& stream, const Track& track);
  void PutOnTick(AVPacket& packet);

  AVFormatContext* format_;
  std::vector<Track> tracks_;  // by stream index
  std::deque<PacketPtr> queue_;
  std::deque<PacketPtr> filling_;  // before all others
  bool hasBegun_ = false;
};

}  // namespace mpg
