#include "remux/segment_copy.h"

#include "media/stream_finder.h"
#include "media/timestamps.h"
#include "mpg/mpg.h"

namespace mpg {
namespace {

// What may change from segment to segment; codec, tag and extradata stay the first segment's.
void TakeOverParameters(const AVCodecParameters& source, AVCodecParameters& target) {
  target.format = source.format;
  target.bit_rate = source.bit_rate;
  target.bits_per_coded_sample = source.bits_per_coded_sample;
  target.bits_per_raw_sample = source.bits_per_raw_sample;
  target.profile = source.profile;
  target.level = source.level;
  target.width = source.width;
  target.height = source.height;
  target.sample_aspect_ratio = source.sample_aspect_ratio;
  target.field_order = source.field_order;
  target.color_range = source.color_range;
  target.color_primaries = source.color_primaries;
  target.color_trc = source.color_trc;
  target.color_space = source.color_space;
  target.chroma_location = source.chroma_location;
  target.video_delay = source.video_delay;
  target.sample_rate = source.sample_rate;
  target.block_align = source.block_align;
  target.frame_size = source.frame_size;
  target.initial_padding = source.initial_padding;
  target.trailing_padding = source.trailing_padding;
  target.seek_preroll = source.seek_preroll;
}

AVStream* StreamAt(const AVFormatContext* context, int index) {
  return index < 0 ? nullptr : context->streams[index];
}

int IndexOf(const AVStream* stream) {
  return stream == nullptr ? -1 : stream->index;
}

bool HasEncoder(const AVStream* stream) {
  return stream != nullptr && avcodec_find_encoder(stream->codecpar->codec_id) != nullptr;
}

double SecondsOf(std::int64_t timeStamp, const AVStream& stream) {
  return static_cast<double>(timeStamp) / stream.time_base.den;
}

std::int64_t TicksOf(double seconds, const AVStream& stream) {
  return static_cast<std::int64_t>(seconds * stream.time_base.den);
}

// Demuxers report broken data and go on behind it. One that stands still would do so for ever.
class BrokenData {
 public:
  /// True as long as it is worth reading on.
  bool MayBePassed(const Input& input) {
    constexpr int kAttempts = 1000;
    AVIOContext* const file = input.Context()->pb;
    const std::int64_t position = file == nullptr ? 0 : avio_tell(file);
    attempts_ = position == position_ ? attempts_ + 1 : 0;
    position_ = position;
    return attempts_ < kAttempts;
  }

 private:
  std::int64_t position_ = -1;
  int attempts_ = 0;
};

}  // namespace

SegmentCopier::SegmentCopier(Output& output, bool closeGaps)
    : output_(output), closeGaps_(closeGaps) {
  const AVFormatContext* const context = output.Context();
  video_.target = FindFirstStream(context, AVMEDIA_TYPE_VIDEO);
  audio_.target = StreamAt(context, FindAudioStream(context));
}

int SegmentCopier::Copy(Input& input, bool isFirst) {
  Segment segment = Examine(input, isFirst);
  const SegmentTrack& video = segment.video;
  if (!video.hasEncoder && !segment.audio.hasEncoder) {
    return video.source == nullptr ? MPG_ERR_VIDEO_STREAM_NOT_FOUND : AVERROR_UNKNOWN;
  }
  if (video.hasEncoder && video_.target != nullptr) {
    TakeOverParameters(*video.source->codecpar, *video_.target->codecpar);
  }
  input.ReadOnly({IndexOf(video.source), IndexOf(segment.audio.source)});
  const int result = CopyPackets(segment);
  for (const Track* track : {&video_, &audio_}) {
    if (track->target == nullptr) continue;
    track->target->start_time = 0;
    track->target->duration = track->duration;
  }
  return result;
}

SegmentCopier::Segment SegmentCopier::Examine(Input& input, bool isFirst) {
  const AVFormatContext* const context = input.Context();
  const AVStream* const video = FindFirstStream(context, AVMEDIA_TYPE_VIDEO);
  const AVStream* const audio = StreamAt(context, FindCopiableAudioStream(context));
  return {.input = input,
          .isFirst = isFirst,
          .video = {.track = video_, .source = video, .hasEncoder = HasEncoder(video)},
          .audio = {.track = audio_, .source = audio, .hasEncoder = HasEncoder(audio)}};
}

int SegmentCopier::CopyPackets(Segment& segment) {
  constexpr int kPacketsOfASoundSegment = 10;
  BrokenData brokenData;
  for (;;) {
    const int read = segment.input.Read(*packet_);
    if (read == AVERROR_EOF) return 0;
    const bool isSound = segment.video.packets > kPacketsOfASoundSegment ||
                         segment.audio.packets > kPacketsOfASoundSegment;
    if (read == AVERROR_INVALIDDATA && isSound && brokenData.MayBePassed(segment.input)) continue;
    if (read < 0) return read;
    const bool isAudio = packet_->stream_index == IndexOf(segment.audio.source);
    CopyPacket(segment, isAudio ? segment.audio : segment.video);
  }
}

void SegmentCopier::CopyPacket(Segment& segment, SegmentTrack& segmentTrack) {
  Track& track = segmentTrack.track;
  ++segmentTrack.packets;
  if (track.target == nullptr) return;
  if (!segment.isFirst && segmentTrack.packets == 1) {
    segmentTrack.previousEnd = SecondsOf(track.guard.LastPts(), *track.target);
  }
  if (!IsKnown(packet_->pts)) return;

  if (closeGaps_) {
    track.gaps.Move(*packet_, !segment.isFirst && !segmentTrack.isBehindBorder);
    segmentTrack.isBehindBorder = true;
  }
  MovePacket(*packet_, *segmentTrack.source, *track.target);
  const AlignmentShift shift = Align(segment.video.previousEnd, segment.audio.previousEnd);
  const double seconds = &track == &video_ ? shift.video : shift.audio;
  DelayPacket(*packet_, TicksOf(seconds, *track.target));
  track.guard.Lift(*packet_);
  track.duration += packet_->duration;
  Write();
}

void SegmentCopier::Write() {
  constexpr int kWriteFailureLimit = 25;
  const int result = output_.Write(*packet_);
  if (result >= 0) hasCopied_ = true;
  if (result < 0 && ++writeFailures_ > kWriteFailureLimit) throw Error(result);
}

}  // namespace mpg
