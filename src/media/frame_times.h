// Presentation times of frames whose container only tells in which order they are decoded.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "media/picture_order.h"

namespace mpg {

/// AVI has decoding times alone, MPEG program streams leave out times of both kinds. Frames are
/// shown at the times at which frames are decoded, only in another order, and their headers and
/// those of the frames behind tell the order.
///
/// A look-ahead of a few frames over one video stream. Packets come out as they went in, those of
/// other streams at their place between them. Neither the work for a packet nor the memory grow
/// with the file's length.
class FrameTimes {
 public:
  /// The container must outlive the object.
  explicit FrameTimes(const AVFormatContext& format);

  /// Takes a packet as it was read, which is empty then. False: it can be used as it is.
  bool Hold(AVPacket& packet);

  /// Nothing follows for now: packets that wait make do with what is known.
  void End();

  /// Moves the next packet into an empty one. False when it has to wait, or there is none.
  bool Take(AVPacket& packet);

  /// After a seek: forgets everything.
  void Reset();

 private:
  struct Held {
    PacketPtr packet;
    bool isFrame = false;
    bool waits = false;
  };
  struct Waiting {
    std::int64_t number;
    Held* held;
  };
  static constexpr int kNone = -1;

  bool IsFrame(const AVPacket& packet);
  void Add(Held& held);
  void CountTime(AVPacket& packet);
  void ShowNext();
  void LearnDelay();
  std::int64_t TimeOfNext() const;
  void LowerDecodingTime(AVPacket& packet);

  const AVFormatContext* format_;
  bool isAvi_;
  bool leavesOutTimes_;
  int stream_ = kNone;
  std::int64_t delay_ = 0;  // frames by which decoding runs ahead
  std::optional<PictureOrder> numbers_;

  std::deque<Held> queue_;        // in file order
  std::vector<Waiting> waiting_;  // the frames of it that aren't shown yet, in decoding order
  std::int64_t lastShown_ = -1;   // the highest number

  // All in the stream's time base.
  std::deque<std::int64_t> decodingTimes_;  // as many as frames wait
  std::deque<std::int64_t> taken_;          // decoding times of the last frames taken
  std::int64_t lastTime_ = AV_NOPTS_VALUE;
  std::int64_t step_ = 0;  // the shortest from frame to frame; 0: not known yet
};

}  // namespace mpg
