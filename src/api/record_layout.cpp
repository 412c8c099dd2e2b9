// The records shared with hosts, held to their offsets. The tests of the bindings read this table.
#include <cstddef>

#include "mpg/mpg.h"

namespace {

template <class Record>
constexpr bool HasSize(std::size_t size) {
  return sizeof(Record) == size && alignof(Record) <= 8;
}

static_assert(HasSize<ProgressInfo>(24));
static_assert(offsetof(ProgressInfo, percent) == 0);
static_assert(offsetof(ProgressInfo, context) == 8);
static_assert(offsetof(ProgressInfo, reserved) == 16);

static_assert(HasSize<MediaInfo>(344));
static_assert(offsetof(MediaInfo, bitRate) == 8);
static_assert(offsetof(MediaInfo, videoStreams) == 16);
static_assert(offsetof(MediaInfo, width) == 20);
static_assert(offsetof(MediaInfo, height) == 24);
static_assert(offsetof(MediaInfo, videoBitRate) == 32);
static_assert(offsetof(MediaInfo, frameRate) == 40);
static_assert(offsetof(MediaInfo, videoDuration) == 48);
static_assert(offsetof(MediaInfo, videoCodec) == 56);
static_assert(offsetof(MediaInfo, videoSampleFormat) == 120);
static_assert(offsetof(MediaInfo, audioStreams) == 184);
static_assert(offsetof(MediaInfo, channels) == 188);
static_assert(offsetof(MediaInfo, audioBitRate) == 192);
static_assert(offsetof(MediaInfo, sampleRate) == 200);
static_assert(offsetof(MediaInfo, audioDuration) == 208);
static_assert(offsetof(MediaInfo, audioCodec) == 216);
static_assert(offsetof(MediaInfo, sampleFormat) == 280);

static_assert(HasSize<MergeDecision>(72));
static_assert(offsetof(MergeDecision, container) == 4);
static_assert(offsetof(MergeDecision, extension) == 8);
static_assert(offsetof(MergeDecision, altExtension) == 40);

static_assert(HasSize<MergeDecisionPrefix>(8));
static_assert(offsetof(MergeDecisionPrefix, container) == 4);

static_assert(HasSize<HostString>(32));
static_assert(offsetof(HostString, length) == 16);
static_assert(offsetof(HostString, capacity) == 24);

static_assert(HasSize<TranscodeParams>(48));
static_assert(offsetof(TranscodeParams, targetAudioCodec) == 4);
static_assert(offsetof(TranscodeParams, targetAudioBitRate) == 8);
static_assert(offsetof(TranscodeParams, targetSampleRate) == 12);
static_assert(offsetof(TranscodeParams, targetChannels) == 16);
static_assert(offsetof(TranscodeParams, targetVideoCodec) == 20);
static_assert(offsetof(TranscodeParams, targetWidth) == 24);
static_assert(offsetof(TranscodeParams, targetHeight) == 28);
static_assert(offsetof(TranscodeParams, scalePercent) == 32);
static_assert(offsetof(TranscodeParams, targetVideoBitRate) == 36);
static_assert(offsetof(TranscodeParams, videoReencode) == 40);
static_assert(offsetof(TranscodeParams, reserved) == 44);

}  // namespace
