#include "transcode/audio_reencode.h"

#include <array>
#include <utility>

#include "media/codec.h"
#include "media/ffmpeg_versions.h"
#include "mpg/mpg.h"

namespace mpg {
namespace {

AVStream* AddDescribedStream(Output& output, const AVCodecContext& encoder,
                             const AVStream& source) {
  AVStream* const target = output.AddStream(encoder.codec);
  Check(avcodec_parameters_copy(target->codecpar, source.codecpar));
  target->codecpar->codec_id = encoder.codec_id;
  // Tags differ between containers; the muxer knows its own.
  target->codecpar->codec_tag = 0;
  target->duration = source.duration;
  return target;
}

void TakeSettings(AVCodecContext& encoder, const AVCodecContext& decoder) {
  encoder.codec_tag = decoder.codec_tag;
  encoder.bit_rate = decoder.bit_rate;
  encoder.sample_rate = decoder.sample_rate;
  encoder.sample_fmt = decoder.sample_fmt;
  av_channel_layout_default(&encoder.ch_layout, decoder.ch_layout.nb_channels);
  // Sizes and paddings are the decoder's own.
  // Profile numbers mean something else in every codec, and FFmpeg's AAC encoder would announce
  // even those of its own codec that it can't make.
  if (encoder.codec_id == decoder.codec_id && encoder.codec_id != AV_CODEC_ID_AAC) {
    encoder.profile = decoder.profile;
  }
}

struct AmrVariant {
  AVCodecID codecId;
  std::uint32_t tag;
  int sampleRate;
};
constexpr std::array kAmrVariants = {
    AmrVariant{AV_CODEC_ID_AMR_NB, MKTAG('s', 'a', 'm', 'r'), 8000},
    AmrVariant{AV_CODEC_ID_AMR_WB, MKTAG('s', 'a', 'w', 'b'), 16000},
};

AVChannelLayout DefaultLayout(int channels) {
  AVChannelLayout layout{};
  av_channel_layout_default(&layout, channels);
  return layout;
}

}  // namespace

void ApplyAmrFormat(AVCodecContext& encoder, AVStream& target) {
  for (const AmrVariant& variant : kAmrVariants) {
    if (variant.codecId != encoder.codec_id) continue;
    target.codecpar->codec_tag = variant.tag;
    target.codecpar->sample_rate = variant.sampleRate;
    encoder.sample_fmt = SampleFormats(*encoder.codec).front();
    encoder.sample_rate = variant.sampleRate;
    av_channel_layout_default(&encoder.ch_layout, 1);
  }
}

const AVStream& ChooseAudioStream(const Input& input) {
  const AVStream* chosen = nullptr;
  for (const AVStream* stream : input.Streams()) {
    if (stream->codecpar->codec_type != AVMEDIA_TYPE_AUDIO) continue;
    const std::int64_t best = chosen == nullptr ? 0 : chosen->codecpar->bit_rate;
    if (best == 0 || stream->codecpar->bit_rate > best) chosen = stream;
  }
  if (chosen == nullptr) throw Error(MPG_ERR_AUDIO_STREAM_NOT_FOUND);
  return *chosen;
}

AudioReencode OpenAudioReencode(Output& output, Input input, AVCodecID codecId) {
  const AVStream& source = ChooseAudioStream(input);
  CodecPtr decoder = OpenDecoder(source);
  CodecPtr encoder = MakeEncoder(codecId == AV_CODEC_ID_NONE ? source.codecpar->codec_id : codecId);
  AVStream* const target = AddDescribedStream(output, *encoder, source);
  TakeSettings(*encoder, *decoder);
  ApplyAmrFormat(*encoder, *target);
  return {.input = std::move(input),
          .source = &source,
          .target = target,
          .decoder = std::move(decoder),
          .encoder = std::move(encoder)};
}

void OpenAudioEncoder(AudioReencode& audio, const Output& output) {
  audio.encoder->time_base = {1, audio.encoder->sample_rate};
  OpenEncoder(*audio.encoder, *output.Context()->oformat);
  DescribeEncoder(*audio.encoder, *audio.target);
}

SampleLayout LayoutOf(const AVCodecContext& codec, const SampleLayout& fallback) {
  const int channels = codec.ch_layout.nb_channels;
  return {.format = codec.sample_fmt != AV_SAMPLE_FMT_NONE ? codec.sample_fmt : fallback.format,
          .sampleRate = codec.sample_rate > 0 ? codec.sample_rate : fallback.sampleRate,
          .channels = channels > 0 ? channels : fallback.channels};
}

SampleLayout LayoutOf(const AVFrame& frame, const SampleLayout& fallback) {
  const int channels = frame.ch_layout.nb_channels;
  return {.format = static_cast<AVSampleFormat>(frame.format),
          .sampleRate = frame.sample_rate > 0 ? frame.sample_rate : fallback.sampleRate,
          .channels = channels > 0 ? channels : fallback.channels};
}

ResamplerPtr CreateResampler(const SampleLayout& from, const SampleLayout& to) {
  AVChannelLayout input = DefaultLayout(from.channels);
  AVChannelLayout output = DefaultLayout(to.channels);
  SwrContext* context = nullptr;
  const int result = swr_alloc_set_opts2(&context, &output, to.format, to.sampleRate, &input,
                                         from.format, from.sampleRate, 0, nullptr);
  ResamplerPtr resampler(context);
  Check(result);
  CheckAllocated(resampler.get());
  // FFmpeg adds floating-point channels up until they clip; what is in the middle of a stereo
  // image would come out 3 dB louder in mono.
  if (from.channels == 2 && to.channels == 1) {
    Check(av_opt_set_double(resampler.get(), "rematrix_maxval", 1.0, 0));
  }
  Check(swr_init(resampler.get()));
  return resampler;
}

ResamplerAndFifo CreateResamplerAndFifo(const AVCodecContext& decoder,
                                        const AVCodecContext& encoder) {
  const SampleLayout wanted = LayoutOf(encoder);
  ResamplerPtr resampler = CreateResampler(LayoutOf(decoder, wanted), wanted);
  AudioFifoPtr fifo(CheckAllocated(av_audio_fifo_alloc(wanted.format, wanted.channels, 1)));
  return {.resampler = std::move(resampler), .fifo = std::move(fifo)};
}

}  // namespace mpg
