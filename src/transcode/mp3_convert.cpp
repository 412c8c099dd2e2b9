#include "transcode/mp3_convert.h"

#include <algorithm>
#include <array>

#include "media/analysis.h"
#include "media/stream_span.h"
#include "media/timestamps.h"
#include "transcode/audio_pipeline.h"
#include "transcode/audio_rates.h"

namespace mpg {
namespace {

constexpr int kFallbackSampleRate = 44100;

int SampleRateOf(const AVCodecContext& decoder) {
  return decoder.sample_rate != 0 ? decoder.sample_rate : kFallbackSampleRate;
}

void SetUpEncoder(AudioReencode& audio, std::int32_t requestedBitRate) {
  const AVCodecContext& decoder = *audio.decoder;
  AVCodecContext& encoder = *audio.encoder;
  const int channels = decoder.ch_layout.nb_channels;
  av_channel_layout_default(&encoder.ch_layout, channels == 1 || channels == 2 ? 1 : 2);
  encoder.sample_rate = SnapAudioSampleRate(SampleRateOf(decoder));
  encoder.bit_rate = ChooseMp3BitRate(audio.input.BitRate(), decoder.bit_rate, requestedBitRate,
                                      SampleRateOf(decoder));
}

class Mp3Conversion {
 public:
  Mp3Conversion(const char* inputPath, const char* outputPath, std::int32_t requestedBitRate,
                Progress progress)
      : progress_(progress),
        output_(MuxerByName("mp3"), outputPath, OnFailure::kKeepPartialFile),
        audio_(OpenAudioReencode(output_, OpenInput(inputPath), AV_CODEC_ID_MP3)) {
    SetUpEncoder(audio_, requestedBitRate);
    OpenAudioEncoder(audio_, output_);
  }

  void Run() {
    AudioPipeline pipeline(audio_, output_, kToleratedBadPackets);
    output_.CreateFile();
    output_.WriteHeader();
    Answer answer = Answer::kGoOn;
    while (answer == Answer::kGoOn && pipeline.ProducePiece()) answer = Report(pipeline.Timing());
    progress_.ReportEnd();
    output_.Finish();
    Check(audio_.input.FileError());
    if (answer == Answer::kGoOn && !output_.HasPackets()) throw Error(AVERROR_INVALIDDATA);
  }

 private:
  // Of the input, else of its audio, cut off; 0 when that isn't known.
  std::int64_t WholeSeconds() const {
    const std::int64_t file = audio_.input.Duration();
    if (IsKnown(file) && file > 0) return file / AV_TIME_BASE;
    const AVStream& source = *audio_.source;
    return av_rescale_q_rnd(LengthOf(source, audio_.input), source.time_base, {1, 1},
                            AV_ROUND_ZERO);
  }

  // After each encoded piece. The percent rises slowly in a long file; the host gets to say stop
  // every so often all the same.
  Answer Report(const StreamTimingRecord& timing) {
    constexpr int kPassesWithoutReport = 20;
    const std::int64_t seconds = WholeSeconds();
    if (seconds == 0 || audio_.decoder->sample_rate == 0) return Answer::kGoOn;
    ++passes_;
    const std::int32_t percent =
        PercentOf(timing.durationSum, audio_.encoder->sample_rate * seconds);
    if (!progress_.IsRise(percent) && passes_ % kPassesWithoutReport != 0) return Answer::kGoOn;
    passes_ = 0;
    return progress_.Report(percent);
  }

  Progress progress_;
  Output output_;
  AudioReencode audio_;
  int passes_ = 0;
};

}  // namespace

std::int64_t ChooseMp3BitRate(std::int64_t fileBitRate, std::int64_t streamBitRate,
                              std::int32_t request, int sampleRate) {
  constexpr std::int64_t kLowest = 32000;
  constexpr std::int64_t kHighest = 256000;
  constexpr std::int64_t kFallback = 128000;
  struct Ceiling {
    int sampleRate;
    std::int64_t bitRate;
  };
  constexpr std::array kCeilings = {Ceiling{12000, 64000}, Ceiling{24000, 160000}};

  std::int64_t bitRate = kHighest + 1;
  for (const std::int64_t candidate : {fileBitRate, streamBitRate}) {
    if (candidate >= kLowest && candidate <= kHighest) bitRate = std::min(bitRate, candidate);
  }
  if (bitRate > kHighest) bitRate = kFallback;
  if (request > 0 && request < bitRate) bitRate = SnapAudioBitRate(request);
  for (const Ceiling& ceiling : kCeilings) {
    if (sampleRate <= ceiling.sampleRate) return std::min(bitRate, ceiling.bitRate);
  }
  return bitRate;
}

void ConvertToMp3(const char* inputPath, const char* outputPath, std::int32_t requestedBitRate,
                  Progress progress) {
  Mp3Conversion(inputPath, outputPath, requestedBitRate, progress).Run();
}

}  // namespace mpg
