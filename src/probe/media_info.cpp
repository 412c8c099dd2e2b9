#include "probe/media_info.h"

#include <cmath>
#include <limits>
#include <span>
#include <utility>

#include "core/text.h"
#include "media/analysis.h"
#include "media/codec.h"
#include "media/ffmpeg_versions.h"
#include "media/stream_finder.h"
#include "media/timestamps.h"

namespace mpg {
namespace {

// Cut off toward zero; what doesn't fit is held at the limits.
std::int64_t WholeSeconds(double seconds) {
  using Limits = std::numeric_limits<std::int64_t>;
  if (std::isnan(seconds)) return 0;
  if (seconds >= static_cast<double>(Limits::max())) return Limits::max();
  if (seconds <= static_cast<double>(Limits::min())) return Limits::min();
  return static_cast<std::int64_t>(seconds);
}

void FillDuration(std::int64_t microseconds, std::int64_t& field) {
  if (IsKnown(microseconds)) field = microseconds / AV_TIME_BASE;
}

void FillStreamDuration(const AVStream& stream, std::int64_t& field) {
  if (!IsKnown(stream.duration)) return;
  const AVRational base = stream.time_base;
  field =
      WholeSeconds(static_cast<double>(base.num) / base.den * static_cast<double>(stream.duration));
}

// FFmpeg's names in capitals.
void FillName(const char* name, std::span<char> field) {
  if (name == nullptr) return;
  CopyText(field, name);
  for (char& letter : field) {
    if (letter >= 'a' && letter <= 'z') letter = static_cast<char>(letter - 'a' + 'A');
  }
}

void FillSampleFormat(const AVCodecParameters& parameters, std::span<char> field) {
  const AVCodec* const decoder = avcodec_find_decoder(parameters.codec_id);
  if (decoder == nullptr) return;
  FillName(av_get_sample_fmt_name(FirstSampleFormat(*decoder, parameters)), field);
}

bool FillVideo(const Input& input, MediaInfo& info) {
  FillDuration(input.Duration(), info.duration);
  info.bitRate = input.BitRate();
  info.videoStreams = static_cast<std::uint32_t>(CountStreams(input.Context(), AVMEDIA_TYPE_VIDEO));
  const AVStream* const stream = FindFirstStream(input.Context(), AVMEDIA_TYPE_VIDEO);
  if (stream == nullptr) return false;

  const AVCodecParameters& parameters = *stream->codecpar;
  info.width = parameters.width;
  info.height = parameters.height;
  info.videoBitRate = parameters.bit_rate;
  const AVRational rate = RealFrameRate(*stream);
  info.frameRate = static_cast<double>(rate.num) / rate.den;
  FillStreamDuration(*stream, info.videoDuration);
  FillName(avcodec_get_name(parameters.codec_id), info.videoCodec);
  FillSampleFormat(parameters, info.videoSampleFormat);
  return true;
}

bool FillAudio(const Input& input, MediaInfo& info) {
  info.audioStreams = static_cast<std::uint32_t>(CountStreams(input.Context(), AVMEDIA_TYPE_AUDIO));
  const int index = FindAudioStream(input.Context());
  if (index < 0) return false;

  const AVStream& stream = *input.Streams()[static_cast<std::size_t>(index)];
  const AVCodecParameters& parameters = *stream.codecpar;
  info.channels = DecodedChannels(parameters);
  info.sampleRate = parameters.sample_rate;
  info.audioBitRate = parameters.bit_rate;
  FillStreamDuration(stream, info.audioDuration);
  FillSampleFormat(parameters, info.sampleFormat);
  FillName(avcodec_get_name(parameters.codec_id), info.audioCodec);
  return true;
}

// What only the header tells overrules what reading the streams estimates.
void FillFromHeader(std::int64_t duration, std::int64_t bitRate, MediaInfo& info) {
  FillDuration(duration, info.duration);
  info.bitRate = bitRate;
}

enum class Extent { kAudioAlone, kVideoAndAudio };

bool Probe(const char* path, Extent extent, MediaInfo& info) try {
  OpenedFile file(path);
  const std::int64_t headerDuration = file.Duration();
  const std::int64_t headerBitRate = file.BitRate();
  bool hasVideo = false;
  bool hasAudio = false;
  try {
    const Input input = OpenInput(std::move(file), path, Analysis::kWithoutDecoding);
    hasVideo = extent == Extent::kVideoAndAudio && FillVideo(input, info);
    hasAudio = FillAudio(input, info);
  } catch (const Error& error) {
    // The header's values stand all the same.
    if (error.Code() == AVERROR(ENOMEM)) throw;
  }
  FillFromHeader(headerDuration, headerBitRate, info);
  return hasVideo || hasAudio;
} catch (const Error&) {
  return false;
}

}  // namespace

bool IsReadableMedia(const char* path) try {
  OpenInput(path, Analysis::kWithoutDecoding);
  return true;
} catch (const Error&) {
  return false;
}

bool ProbeMediaInfo(const char* path, MediaInfo& info) {
  return Probe(path, Extent::kVideoAndAudio, info);
}

std::int64_t ProbeAudioDuration(const char* path) {
  MediaInfo info{};
  Probe(path, Extent::kAudioAlone, info);
  return info.audioDuration > 0 ? info.audioDuration : info.duration;
}

}  // namespace mpg
