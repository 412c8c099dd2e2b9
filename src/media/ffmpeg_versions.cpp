#include "media/ffmpeg_versions.h"

#include <algorithm>

#include "core/error.h"
#include "media/timestamps.h"

namespace mpg {
namespace {

#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(61, 13, 100)

template <class Value>
std::span<const Value> Supported(const AVCodec& codec, AVCodecConfig what) {
  const void* values = nullptr;
  int count = 0;
  if (avcodec_get_supported_config(nullptr, &codec, what, 0, &values, &count) < 0) return {};
  return {static_cast<const Value*>(values),
          values == nullptr ? 0 : static_cast<std::size_t>(count)};
}

#else

// Up to the entry that ends the list.
template <class Value, class IsEnd>
std::span<const Value> List(const Value* values, IsEnd isEnd) {
  std::size_t count = 0;
  while (values != nullptr && !isEnd(values[count])) ++count;
  return {values, count};
}

#endif

}  // namespace

#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(61, 13, 100)

std::span<const AVSampleFormat> SampleFormats(const AVCodec& codec) {
  return Supported<AVSampleFormat>(codec, AV_CODEC_CONFIG_SAMPLE_FORMAT);
}

std::span<const AVPixelFormat> PixelFormats(const AVCodec& codec) {
  return Supported<AVPixelFormat>(codec, AV_CODEC_CONFIG_PIX_FORMAT);
}

std::span<const int> SampleRates(const AVCodec& codec) {
  return Supported<int>(codec, AV_CODEC_CONFIG_SAMPLE_RATE);
}

std::span<const AVChannelLayout> ChannelLayouts(const AVCodec& codec) {
  return Supported<AVChannelLayout>(codec, AV_CODEC_CONFIG_CHANNEL_LAYOUT);
}

#else

std::span<const AVSampleFormat> SampleFormats(const AVCodec& codec) {
  return List(codec.sample_fmts, [](AVSampleFormat format) { return format < 0; });
}

std::span<const AVPixelFormat> PixelFormats(const AVCodec& codec) {
  return List(codec.pix_fmts, [](AVPixelFormat format) { return format < 0; });
}

std::span<const int> SampleRates(const AVCodec& codec) {
  return List(codec.supported_samplerates, [](int rate) { return rate == 0; });
}

std::span<const AVChannelLayout> ChannelLayouts(const AVCodec& codec) {
  return List(codec.ch_layouts,
              [](const AVChannelLayout& layout) { return layout.nb_channels == 0; });
}

#endif

AVSampleFormat FirstSampleFormat(const AVCodec& decoder, const AVCodecParameters& parameters) {
  constexpr bool kDecodersList = LIBAVCODEC_VERSION_MAJOR < 62;
  const std::span<const AVSampleFormat> formats = SampleFormats(decoder);
  if (!formats.empty()) return formats.front();
  const bool isAudio = parameters.codec_type == AVMEDIA_TYPE_AUDIO;
  return isAudio && !kDecodersList ? static_cast<AVSampleFormat>(parameters.format)
                                   : AV_SAMPLE_FMT_NONE;
}

AVRational RealFrameRate(const AVStream& stream) {
  const AVRational rate = stream.r_frame_rate;
  // Broken files bring any number.
  const AVRational half = av_mul_q(rate, {1, 2});
  const bool isTwice = rate.num > 0 && av_cmp_q(stream.avg_frame_rate, half) == 0;
  return isTwice && !IsKnown(stream.start_time) ? half : rate;
}

#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(58, 7, 100)

bool IsInterlaced(const AVFrame& frame) {
  return (frame.flags & AV_FRAME_FLAG_INTERLACED) != 0;
}

void SetTopFieldFirst(AVFrame& frame, bool isTopFirst) {
  frame.flags &= ~AV_FRAME_FLAG_TOP_FIELD_FIRST;
  if (isTopFirst) frame.flags |= AV_FRAME_FLAG_TOP_FIELD_FIRST;
}

#else

bool IsInterlaced(const AVFrame& frame) {
  return frame.interlaced_frame != 0;
}

void SetTopFieldFirst(AVFrame& frame, bool isTopFirst) {
  frame.top_field_first = isTopFirst ? 1 : 0;
}

#endif

#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(60, 31, 102)

std::span<const AVPacketSideData> SideData(const AVStream& stream) {
  const AVCodecParameters& parameters = *stream.codecpar;
  return {parameters.coded_side_data, static_cast<std::size_t>(parameters.nb_coded_side_data)};
}

void AddSideData(AVStream& stream, const AVPacketSideData& entry) {
  AVCodecParameters& parameters = *stream.codecpar;
  AVPacketSideData* const copy = CheckAllocated(av_packet_side_data_new(
      &parameters.coded_side_data, &parameters.nb_coded_side_data, entry.type, entry.size, 0));
  std::copy_n(entry.data, entry.size, copy->data);
}

#else

std::span<const AVPacketSideData> SideData(const AVStream& stream) {
  return {stream.side_data, static_cast<std::size_t>(stream.nb_side_data)};
}

void AddSideData(AVStream& stream, const AVPacketSideData& entry) {
  std::uint8_t* const copy =
      CheckAllocated(av_stream_new_side_data(&stream, entry.type, entry.size));
  std::copy_n(entry.data, entry.size, copy);
}

#endif

}  // namespace mpg
