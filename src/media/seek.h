// Moving a video input to a time.
#pragma once

#include <cstdint>

#include "media/input.h"

namespace mpg {

/// A time from the beginning of a stream as its time stamp.
std::int64_t TimeStampAt(const AVStream& stream, std::uint32_t second);

/// Moves to the key frame at or before a second of the stream's own time and empties the decoder.
/// Where the demuxer can't, or lands between key frames, it tries up to 59 earlier seconds, as
/// long as it doesn't land at the start, and then goes to the start of the file, for streams in
/// which no packet is flagged as key. The last seek's result: negative when it failed, -1 when
/// there was no earlier second left.
int SeekVideoToSecond(Input& input, AVCodecContext& decoder, const AVStream& stream,
                      std::uint32_t second);

}  // namespace mpg
