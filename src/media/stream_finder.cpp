#include "media/stream_finder.h"

#include <algorithm>
#include <span>

#include "media/analysis.h"
#include "media/codec.h"
#include "mpg/mpg.h"

namespace mpg {
namespace {

std::span<AVStream* const> StreamsOf(const AVFormatContext* context) {
  if (context == nullptr) return {};
  return {context->streams, context->nb_streams};
}

bool IsOfType(const AVStream* stream, AVMediaType type) {
  return stream != nullptr && stream->codecpar != nullptr && stream->codecpar->codec_type == type;
}

bool IsUsableAudio(const AVStream* stream) {
  return IsOfType(stream, AVMEDIA_TYPE_AUDIO) &&
         (stream->codecpar->sample_rate != 0 || DecodedChannels(*stream->codecpar) != 0);
}

}  // namespace

int FindNextAudioStream(const AVFormatContext* context, int after) {
  for (const AVStream* stream : StreamsOf(context)) {
    if (stream != nullptr && stream->index > after && IsUsableAudio(stream)) return stream->index;
  }
  return -1;
}

int FindCopiableAudioStream(const AVFormatContext* context) {
  const int audioStreams = CountStreams(context, AVMEDIA_TYPE_AUDIO);
  int index = FindAudioStream(context);
  while (index >= 0 && context->streams[index]->codecpar->sample_rate == 0 &&
         audioStreams > index + 1) {
    index = FindNextAudioStream(context, index);
  }
  return index;
}

AVStream* FindFirstStream(const AVFormatContext* context, AVMediaType type) {
  const auto streams = StreamsOf(context);
  const auto found = std::ranges::find_if(
      streams, [type](const AVStream* stream) { return IsOfType(stream, type); });
  return found == streams.end() ? nullptr : *found;
}

AVStream& RequireVideoStream(const Input& input) {
  AVStream* const stream = FindFirstStream(input.Context(), AVMEDIA_TYPE_VIDEO);
  if (stream == nullptr) throw Error(MPG_ERR_VIDEO_STREAM_NOT_FOUND);
  return *stream;
}

AVStream* FindMovingVideo(const AVFormatContext* context) {
  const auto streams = StreamsOf(context);
  const auto found = std::ranges::find_if(streams, [](const AVStream* stream) {
    return IsOfType(stream, AVMEDIA_TYPE_VIDEO) && !IsCoverArt(*stream);
  });
  return found == streams.end() ? nullptr : *found;
}

int CountStreams(const AVFormatContext* context, AVMediaType type) {
  return static_cast<int>(std::ranges::count_if(
      StreamsOf(context), [type](const AVStream* stream) { return IsOfType(stream, type); }));
}

AVCodecID ProbeCodecId(const Input& input, AVMediaType type) {
  const AVStream* const stream = FindFirstStream(input.Context(), type);
  return stream == nullptr ? AV_CODEC_ID_NONE : stream->codecpar->codec_id;
}

AVCodecID ProbeCodecId(const char* path, AVMediaType type) try {
  return ProbeCodecId(OpenInput(path, Analysis::kWithoutDecoding), type);
} catch (const Error&) {
  return AV_CODEC_ID_NONE;
}

}  // namespace mpg
