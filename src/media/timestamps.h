// Time stamps on their way from one time base to another.
#pragma once

#include <cstdint>
#include <limits>

#include "media/ffmpeg.h"

namespace mpg {

inline bool IsKnown(std::int64_t timeStamp) {
  return timeStamp != AV_NOPTS_VALUE;
}

/// Whether sums of a few such times fit 64 bits; false for an unknown one.
inline bool IsSummable(std::int64_t time) {
  constexpr std::int64_t kFarthest = std::numeric_limits<std::int64_t>::max() / 16;
  return time > -kFarthest && time < kFarthest;
}

/// To the nearest tick; an unknown time stamp stays unknown.
inline std::int64_t RescaleTime(std::int64_t timeStamp, AVRational from, AVRational to) {
  constexpr auto kNearestOrUnknown =
      static_cast<AVRounding>(AV_ROUND_NEAR_INF | AV_ROUND_PASS_MINMAX);
  return av_rescale_q_rnd(timeStamp, from, to, kNearestOrUnknown);
}

/// Presentation time, decoding time and duration, each where it is known.
inline void RescalePacket(AVPacket& packet, AVRational from, AVRational to) {
  packet.pts = RescaleTime(packet.pts, from, to);
  packet.dts = RescaleTime(packet.dts, from, to);
  packet.duration = av_rescale_q(packet.duration, from, to);
}

/// Moves both time stamps, each where it is known, as far as 64 bits reach.
inline void DelayPacket(AVPacket& packet, std::int64_t ticks) {
  if (IsKnown(packet.pts)) packet.pts = av_sat_add64(packet.pts, ticks);
  if (IsKnown(packet.dts)) packet.dts = av_sat_add64(packet.dts, ticks);
}

/// Makes a packet read from `source` one of the output stream `target`.
inline void MovePacket(AVPacket& packet, const AVStream& source, const AVStream& target) {
  RescalePacket(packet, source.time_base, target.time_base);
  packet.pos = -1;
  packet.stream_index = target.index;
}

}  // namespace mpg
