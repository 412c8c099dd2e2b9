#include "remux/segment_copy.h"

#include <utility>

#include "media/stream_finder.h"
#include "media/timestamps.h"
#include "mpg/mpg.h"

namespace mpg {
namespace {

// What may change from segment to segment; codec, tag, extradata and size stay the first segment's.
void TakeOver(const AVCodecParameters& source, AVCodecParameters& target) {
  target.format = source.format;
  target.bit_rate = source.bit_rate;
  target.bits_per_coded_sample = source.bits_per_coded_sample;
  target.bits_per_raw_sample = source.bits_per_raw_sample;
  target.profile = source.profile;
  target.level = source.level;
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

AVRational TimeBaseOf(const AVStream* stream) {
  return stream == nullptr ? AVRational{1, 1} : stream->time_base;
}

int IndexOf(const AVStream* stream) {
  return stream == nullptr ? -1 : stream->index;
}

bool HasEncoder(const AVStream* stream) {
  return stream != nullptr && avcodec_find_encoder(stream->codecpar->codec_id) != nullptr;
}

// Demuxers report broken data and go on behind it. One that stands still would do so for ever.
class BrokenData {
 public:
  void Meet(const Input& input) {
    AVIOContext* const file = input.Context()->pb;
    const std::int64_t position = file == nullptr ? 0 : avio_tell(file);
    attempts_ = position == position_ ? attempts_ + 1 : 0;
    position_ = position;
  }

  bool IsEndless() const {
    constexpr int kAttempts = 1000;
    return attempts_ >= kAttempts;
  }

 private:
  std::int64_t position_ = -1;
  int attempts_ = 0;
};

}  // namespace

SegmentCopier::SegmentCopier(Output& output, bool closeGaps, WriteFailures& failures)
    : output_(output),
      video_{.target = FindFirstStream(output.Context(), AVMEDIA_TYPE_VIDEO)},
      audio_{.target = StreamAt(output.Context(), FindAudioStream(output.Context()))},
      timeline_(closeGaps, TimeBaseOf(video_.target), TimeBaseOf(audio_.target)),
      failures_(failures) {}

SegmentResult SegmentCopier::Copy(Input& input) {
  Segment segment = Examine(input);
  const SegmentTrack& video = segment.video;
  if (!video.hasEncoder && !segment.audio.hasEncoder) {
    return {.code = video.source == nullptr ? MPG_ERR_VIDEO_STREAM_NOT_FOUND : AVERROR_UNKNOWN};
  }
  TakeOverParameters(input);
  input.SelectStreams({IndexOf(video.source), IndexOf(segment.audio.source)});
  segment.result.code = CopyPackets(segment);
  Begin(segment);
  // Often taken for the end.
  if (input.FileError() != 0) segment.result.code = input.FileError();
  CloseStreams(segment);
  return segment.result;
}

void SegmentCopier::TakeOverParameters(const Input& segment) {
  const AVStream* const video = FindFirstStream(segment.Context(), AVMEDIA_TYPE_VIDEO);
  if (HasEncoder(video) && video_.target != nullptr) {
    TakeOver(*video->codecpar, *video_.target->codecpar);
  }
}

SegmentCopier::Segment SegmentCopier::Examine(Input& input) {
  const AVFormatContext* const context = input.Context();
  const AVStream* const video = FindFirstStream(context, AVMEDIA_TYPE_VIDEO);
  const AVStream* const audio = StreamAt(context, FindCopiableAudioStream(context));
  return {.input = input,
          .video = {.track = video_, .source = video, .hasEncoder = HasEncoder(video)},
          .audio = {.track = audio_, .source = audio, .hasEncoder = HasEncoder(audio)}};
}

int SegmentCopier::CopyPackets(Segment& segment) {
  constexpr int kPacketsOfAHealthySegment = 10;
  BrokenData brokenData;
  for (;;) {
    const int read = segment.input.Read(*packet_);
    if (read == AVERROR_EOF) return 0;
    const bool isHealthy = segment.video.packets > kPacketsOfAHealthySegment ||
                           segment.audio.packets > kPacketsOfAHealthySegment;
    if (read < 0) {
      brokenData.Meet(segment.input);
      if (read != AVERROR_INVALIDDATA || !isHealthy || brokenData.IsEndless()) return read;
      segment.result.isComplete = false;
      continue;
    }
    const bool isAudio = packet_->stream_index == IndexOf(segment.audio.source);
    Take(segment, isAudio ? segment.audio : segment.video);
  }
}

void SegmentCopier::Take(Segment& segment, SegmentTrack& segmentTrack) {
  // Where a stream is announced and doesn't come.
  constexpr std::size_t kMostWaiting = 1000;
  ++segmentTrack.packets;
  if (segmentTrack.track.target == nullptr) return;
  if (!IsKnown(packet_->pts)) packet_->pts = packet_->dts;
  if (!IsKnown(packet_->pts)) {
    segment.result.isComplete = false;
    return;
  }
  MovePacket(*packet_, *segmentTrack.source, *segmentTrack.track.target);
  if (segment.hasBegun) {
    Write(segment, *packet_);
    return;
  }
  if (!segmentTrack.start) segmentTrack.start = SegmentTimeline::StartOf(*packet_);
  segment.waiting.push_back(std::exchange(packet_, MakePacket()));
  const auto isSettled = [](const SegmentTrack& track) {
    return track.start || track.source == nullptr || track.track.target == nullptr;
  };
  const bool areSettled = isSettled(segment.video) && isSettled(segment.audio);
  if (areSettled || segment.waiting.size() > kMostWaiting) Begin(segment);
}

void SegmentCopier::Begin(Segment& segment) {
  if (std::exchange(segment.hasBegun, true)) return;
  if (segment.video.start || segment.audio.start) {
    timeline_.BeginSegment(segment.video.start, segment.audio.start);
  }
  for (const PacketPtr& packet : segment.waiting) Write(segment, *packet);
  segment.waiting.clear();
}

void SegmentCopier::Write(Segment& segment, AVPacket& packet) {
  const bool isAudio = audio_.target != nullptr && packet.stream_index == audio_.target->index;
  timeline_.Place(isAudio ? SegmentTimeline::kAudio : SegmentTimeline::kVideo, packet);
  (isAudio ? audio_ : video_).duration += packet.duration;
  const int result = output_.Write(packet);
  if (result >= 0) ++segment.result.packets;
  failures_.Count(result);
}

void SegmentCopier::CloseStreams(const Segment& segment) {
  const auto isMissing = [](const SegmentTrack& track) {
    return track.track.target != nullptr && track.packets == 0;
  };
  // What the other stream brought would wait for it.
  if (isMissing(segment.video) || isMissing(segment.audio)) output_.FlushQueue(failures_);
  for (const Track* track : {&video_, &audio_}) {
    if (track->target == nullptr) continue;
    track->target->start_time = 0;
    track->target->duration = track->duration;
  }
}

}  // namespace mpg
