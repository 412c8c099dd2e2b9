#include "media/codec.h"

#include <string_view>

#include "media/timestamps.h"

namespace mpg {

namespace {

CodecPtr MakeContext(const AVCodec* codec) {
  if (codec == nullptr) throw Error(AVERROR_UNKNOWN);
  return CodecPtr(CheckAllocated(avcodec_alloc_context3(codec)));
}

CodecPtr Open(const AVCodecParameters& parameters, AVRational packetTimeBase,
              DecoderThreads threads) {
  CodecPtr decoder = MakeContext(avcodec_find_decoder(parameters.codec_id));
  Check(avcodec_parameters_to_context(decoder.get(), &parameters));
  decoder->pkt_timebase = packetTimeBase;
  // FFmpeg's 0 stands for what suits the machine.
  decoder->thread_count = threads == DecoderThreads::kOne ? 1 : 0;
  Check(avcodec_open2(decoder.get(), decoder->codec, nullptr));
  return decoder;
}

}  // namespace

CodecPtr OpenDecoder(const AVCodecParameters& parameters) {
  return Open(parameters, {0, 1}, DecoderThreads::kOne);
}

CodecPtr OpenDecoder(const AVStream& stream, DecoderThreads threads) {
  return Open(*stream.codecpar, stream.time_base, threads);
}

CodecPtr MakeEncoder(AVCodecID codecId) {
  return MakeEncoder(avcodec_find_encoder(codecId));
}

CodecPtr MakeEncoder(const AVCodec* codec) {
  return MakeContext(codec);
}

void OpenEncoder(AVCodecContext& encoder, const AVOutputFormat& muxer) {
  if ((muxer.flags & AVFMT_GLOBALHEADER) != 0) encoder.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  // x265 writes to the host's standard error, past FFmpeg's log.
  if (std::string_view(encoder.codec->name) == "libx265") {
    av_opt_set(encoder.priv_data, "x265-params", "log-level=none", 0);
  }
  Check(avcodec_open2(&encoder, encoder.codec, nullptr));
}

void DescribeEncoder(const AVCodecContext& encoder, AVStream& target) {
  const std::uint32_t tag = target.codecpar->codec_tag;
  Check(avcodec_parameters_from_context(target.codecpar, &encoder));
  target.codecpar->codec_tag = tag;
  target.time_base = encoder.time_base;
}

std::int64_t FrameClock::TimeOf(const AVFrame& frame) {
  std::int64_t time = frame.best_effort_timestamp;
  if (!IsKnown(time) && IsKnown(last_)) time = av_sat_add64(last_, step_);
  if (IsKnown(last_)) step_ = av_sat_sub64(time, last_);
  return last_ = time;
}

int DecodedChannels(const AVCodecParameters& parameters) try {
  return OpenDecoder(parameters)->ch_layout.nb_channels;
} catch (const Error& error) {
  if (error.Code() == AVERROR(ENOMEM)) throw;
  return 0;
}

}  // namespace mpg
