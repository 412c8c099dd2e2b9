#include "transcode/transcode_audio.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <utility>

#include "media/analysis.h"
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
  ApplyAmrFormat(encoder, *audio.target);
}

AudioReencode SetUp(const std::string& inputPath, const TranscodeParams& params, Output& output) {
  AudioReencode audio =
      OpenAudioReencode(output, OpenInput(inputPath.c_str()), AudioCodec(params.targetAudioCodec));
  if (AsksForAudio(params)) {
    ApplySettings(params, audio);
    OpenAudioEncoder(audio, output);
  } else {
    audio.target->time_base = audio.source->time_base;
  }
  return audio;
}

}  // namespace

bool AsksForAudio(const TranscodeParams& params) {
  return params.targetAudioCodec != 0 || params.targetAudioBitRate != 0 ||
         params.targetChannels != 0 || params.targetSampleRate != 0;
}

TranscodeAudio::TranscodeAudio(const std::string& inputPath, const TranscodeParams& params,
                               Output& output, StreamProgress& progress)
    : audio_(SetUp(inputPath, params, output)),
      output_(output),
      progress_(progress),
      isCopied_(!AsksForAudio(params)) {}

void TranscodeAudio::Start(std::int64_t origin, AVRational base, const AVStream* video) {
  origin_ = RescaleTime(origin, base, audio_.source->time_base);
  isAlone_ = video == nullptr;
  if (isCopied_) return;
  pipeline_.emplace(audio_, output_, kToleratedBadPackets, origin_);
  if (!isAlone_) pipeline_->KeepTogetherWith(video->index);
}

void TranscodeAudio::Copy(AVPacket& packet) {
  if (isAlone_) {
    if (IsKnown(packet.pts) && !progress_.ReportTime(packet.pts)) return;
  } else if (!progress_.PassPacketBeside()) {
    return;
  }
  if (!IsKnown(packet.pts)) packet.pts = packet.dts;
  if (!IsKnown(packet.pts)) return;
  DelayPacket(packet, -origin_);
  MovePacket(packet, *audio_.source, *audio_.target);
  guard_.Place(packet);
  Check(output_.Write(packet));
}

bool TranscodeAudio::IsBehind(std::int64_t time, AVRational base) const {
  if (hasEnded_) return false;
  return av_compare_ts(pipeline_->Timing().lastPacketPts, audio_.target->time_base, time, base) < 0;
}

bool TranscodeAudio::Produce() {
  hasEnded_ = !pipeline_->ProducePiece();
  if (isAlone_) {
    progress_.Report(av_rescale_q(pipeline_->Timing().durationSum, audio_.target->time_base,
                                  audio_.source->time_base));
  }
  return !hasEnded_;
}

void TranscodeAudio::ProduceRest() {
  if (isCopied_) return;
  while (!hasEnded_ && progress_.AskAgain()) Produce();
}

}  // namespace mpg
