#include "transcode/transcode_sound.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <utility>

#include "media/ffmpeg_versions.h"
#include "media/timestamps.h"
#include "transcode/audio_rates.h"

namespace mpg {
namespace {

// TranscodeParams::targetAudioCodec.
constexpr AVCodecID kAudioTargets[] = {AV_CODEC_ID_NONE, AV_CODEC_ID_MP3, AV_CODEC_ID_AAC,
                                       AV_CODEC_ID_AMR_NB, AV_CODEC_ID_AMR_WB};

AVCodecID AudioCodec(std::int32_t number) {
  if (number < 0 || number >= std::ssize(kAudioTargets)) throw Error(MPG_ERR_INVALID_PARAMETER);
  return kAudioTargets[number];
}

// The sample format nearest to the decoder's that the encoder takes.
void FitSampleFormat(AVCodecContext& encoder) {
  const std::span<const AVSampleFormat> formats = SampleFormats(*encoder.codec);
  if (formats.empty() || std::ranges::count(formats, encoder.sample_fmt) > 0) return;
  const AVSampleFormat packed = av_get_packed_sample_fmt(encoder.sample_fmt);
  const auto same = std::ranges::find(formats, packed, av_get_packed_sample_fmt);
  encoder.sample_fmt = same == formats.end() ? formats.front() : *same;
}

// The next higher rate that the encoder takes, which loses nothing, else its highest.
void FitSampleRate(AVCodecContext& encoder) {
  const std::span<const int> rates = SampleRates(*encoder.codec);
  if (rates.empty()) return;
  const auto distance = [wanted = encoder.sample_rate](int rate) {
    return std::pair(rate < wanted, std::abs(rate - wanted));
  };
  encoder.sample_rate = std::ranges::min(rates, {}, distance);
}

// The nearest number of channels that the encoder takes, each at its default place where it can be.
void FitChannels(AVCodecContext& encoder) {
  const std::span<const AVChannelLayout> layouts = ChannelLayouts(*encoder.codec);
  if (layouts.empty()) return;
  const auto distance = [wanted = encoder.ch_layout.nb_channels](const AVChannelLayout& layout) {
    AVChannelLayout usual{};
    av_channel_layout_default(&usual, layout.nb_channels);
    return std::pair(std::abs(layout.nb_channels - wanted),
                     av_channel_layout_compare(&layout, &usual) != 0);
  };
  const AVChannelLayout& nearest = *std::ranges::min_element(layouts, {}, distance);
  Check(av_channel_layout_copy(&encoder.ch_layout, &nearest));
}

void ApplySettings(const TranscodeParams& params, AudioReencode& audio) {
  AVCodecContext& encoder = *audio.encoder;
  if (params.targetChannels == 1 || params.targetChannels == 2) {
    av_channel_layout_default(&encoder.ch_layout, params.targetChannels);
  } else {
    FitChannels(encoder);
  }
  if (params.targetAudioBitRate != 0) {
    encoder.bit_rate = SnapAudioBitRate(params.targetAudioBitRate);
  }
  if (params.targetSampleRate != 0) {
    encoder.sample_rate = SnapAudioSampleRate(params.targetSampleRate);
  } else {
    FitSampleRate(encoder);
  }
  const bool isMp3 = encoder.codec_id == AV_CODEC_ID_MP3;
  if (isMp3 || encoder.codec_id == AV_CODEC_ID_AC3) encoder.block_align = 0;
  FitSampleFormat(encoder);
  HeedAmr(encoder, *audio.target);
}

AudioReencode SetUp(const std::string& inputPath, const TranscodeParams& params, Output& output) {
  AudioReencode audio =
      OpenAudioReencode(output, Input(inputPath.c_str()), AudioCodec(params.targetAudioCodec));
  if (AsksForSound(params)) {
    ApplySettings(params, audio);
    OpenAudioEncoder(audio, output);
  } else {
    audio.target->time_base = audio.source->time_base;
  }
  return audio;
}

}  // namespace

bool AsksForSound(const TranscodeParams& params) {
  return params.targetAudioCodec != 0 || params.targetAudioBitRate != 0 ||
         params.targetChannels != 0 || params.targetSampleRate != 0;
}

TranscodeSound::TranscodeSound(const std::string& inputPath, const TranscodeParams& params,
                               Output& output)
    : audio_(SetUp(inputPath, params, output)), output_(output), isCopied_(!AsksForSound(params)) {}

void TranscodeSound::Start(std::int64_t origin, AVRational base, const AVStream* video) {
  origin_ = RescaleTime(origin, base, audio_.source->time_base);
  if (isCopied_) return;
  pipeline_.emplace(audio_, output_, kToleratedBadPackets, origin_);
  if (video != nullptr) pipeline_->KeepTogetherWith(video->index);
}

void TranscodeSound::Copy(AVPacket& packet) {
  if (!IsKnown(packet.pts)) packet.pts = packet.dts;
  if (!IsKnown(packet.pts)) return;
  DelayPacket(packet, -origin_);
  MovePacket(packet, *audio_.source, *audio_.target);
  guard_.Place(packet);
  Check(output_.Write(packet));
}

bool TranscodeSound::Produce() {
  hasEnded_ = !pipeline_->ProducePiece();
  return !hasEnded_;
}

bool TranscodeSound::IsBehind(std::int64_t time, AVRational base) const {
  return av_compare_ts(pipeline_->Timing().lastPacketPts, audio_.target->time_base, time, base) < 0;
}

std::int64_t TranscodeSound::MadeLength() const {
  return av_rescale_q(pipeline_->Timing().durationSum, audio_.target->time_base,
                      audio_.source->time_base);
}

}  // namespace mpg
