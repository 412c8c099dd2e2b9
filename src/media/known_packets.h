// Whether packets that were read without any examination are those that FFmpeg's would have given.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "media/frame_heads.h"
#include "media/input.h"

namespace mpg {

/// A stream of an earlier file.
struct KnownStream {
  CodecParametersPtr opened;    // as the container's header told
  CodecParametersPtr examined;  // as FFmpeg's analysis found
};

/// Looks at all packets of a file that was read as an earlier one is known.
class KnownPackets {
 public:
  /// `known` must outlive the object; FrameHeads::Exist for each of its video codecs.
  KnownPackets(const Input& input, std::span<const KnownStream> known);

  /// False when the packet may be another after an examination.
  bool Hold(const AVPacket& packet);

  /// After the last packet: the file has what the earlier one had.
  bool AreComplete() const;

 private:
  struct Stream {
    const AVStream* stream;
    const KnownStream* known;
    std::optional<FrameHeads> heads = {};  // of video
    bool hasNoDelay = false;               // certainly, unless B frames come
    bool isBegun = false;
    std::int64_t lastTime = 0;  // decoding time of the last packet, once begun
    std::int64_t duration = 0;  // of all packets so far, in the stream's time base
  };

  bool HoldVideo(const Stream& stream, const AVPacket& packet) const;
  bool HoldAudio(const Stream& stream, const AVPacket& packet) const;
  bool IsSoonEnough() const;

  const Input& input_;
  std::vector<Stream> streams_;
  std::int64_t size_ = 0;  // of all packets so far
};

}  // namespace mpg
