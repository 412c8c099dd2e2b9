#include "transcode/video_reencode.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

#include "core/progress.h"
#include "transcode/video_encoder_setup.h"
#include "transcode/video_rates.h"

namespace mpg {
namespace {

// TranscodeParams::targetVideoCodec.
struct VideoTarget {
  AVCodecID codecId;  // AV_CODEC_ID_NONE: the input's
  std::uint32_t tag;
};
constexpr VideoTarget kVideoTargets[] = {
    {AV_CODEC_ID_NONE, 0},
    {AV_CODEC_ID_MPEG4, MKTAG('X', 'V', 'I', 'D')},
    {AV_CODEC_ID_MPEG4, MKTAG('D', 'X', '5', '0')},
    {AV_CODEC_ID_MPEG4, MKTAG('D', 'I', 'V', 'X')},
    {AV_CODEC_ID_H263, MKTAG('s', '2', '6', '3')},
    {AV_CODEC_ID_H264, 0},
    {AV_CODEC_ID_MPEG4, MKTAG('F', 'M', 'P', '4')},
};
constexpr std::int32_t kH263 = 4;
constexpr std::int32_t kPlainMpeg4 = 6;

VideoTarget FindTarget(const TranscodeParams& params, AVCodecID inputCodec) {
  const std::int32_t number = params.targetVideoCodec;
  if (number < 0 || number >= std::ssize(kVideoTargets)) throw Error(MPG_ERR_INVALID_PARAMETER);
  VideoTarget target = kVideoTargets[number];
  if (target.codecId == AV_CODEC_ID_NONE) target.codecId = inputCodec;
  if (number == kPlainMpeg4 && params.formatId != MPG_FORMAT_AVI) target.tag = 0;
  return target;
}

// A value as the host's 32-bit arithmetic gives it; what doesn't fit is no frame size.
std::int32_t Scaled(std::int64_t value, std::int64_t factor, std::int64_t divisor) {
  if (divisor == 0) return 0;
  const std::int64_t scaled = value * factor / divisor;
  const bool fits = scaled >= 0 && scaled <= std::numeric_limits<std::int32_t>::max();
  return fits ? static_cast<std::int32_t>(scaled) : -1;
}

// MPEG-4 counts time in 16 bits. Where the output's time base is finer, the usual one of NTSC
// stands in. With a fine one in the input a high bit rate, meant for a better codec, is cut down.
constexpr AVRational kNtscTimeBase{1001, 30000};

bool IsTooFineForMpeg4(AVCodecID codecId, AVRational timeBase) {
  constexpr double kFinest = 65535;
  return codecId == AV_CODEC_ID_MPEG4 && av_q2d(av_inv_q(timeBase)) > kFinest;
}

AVRational OutputTimeBase(AVCodecID codecId, const AVOutputFormat& muxer, const AVStream& source) {
  const AVRational timeBase = VideoTimeBase(muxer, source);
  return IsTooFineForMpeg4(codecId, timeBase) ? kNtscTimeBase : timeBase;
}

void LimitForMpeg4(AVCodecContext& encoder, const VideoEncoderRequest& request) {
  constexpr std::int64_t kHighBitRate = 800004;
  if (!IsTooFineForMpeg4(encoder.codec_id, request.source.time_base)) return;
  encoder.time_base = OutputTimeBase(encoder.codec_id, request.muxer, request.source);
  if (encoder.bit_rate >= kHighBitRate) {
    const std::int64_t quarter = encoder.bit_rate / 4;
    encoder.bit_rate = SnapVideoBitRate(static_cast<std::int32_t>(
        std::min<std::int64_t>(quarter, std::numeric_limits<std::int32_t>::max())));
  }
}

CodecPtr CreateVideoEncoder(const VideoEncoderRequest& request, const TranscodeParams& params) {
  CodecPtr encoder = MakeVideoEncoder(request);
  LimitForMpeg4(*encoder, request);
  if (params.targetVideoBitRate != 0) {
    encoder->bit_rate = SnapVideoBitRate(params.targetVideoBitRate);
  }
  return encoder;
}

}  // namespace

bool AsksForVideo(const TranscodeParams& params) {
  return params.targetVideoCodec != 0 || params.targetWidth != 0 || params.targetHeight != 0 ||
         params.scalePercent != 0 || params.targetVideoBitRate != 0 || params.videoReencode != 0;
}

AVCodecID VideoCodec(const TranscodeParams& params, AVCodecID inputCodec) {
  return FindTarget(params, inputCodec).codecId;
}

FrameSize RequestedSize(const TranscodeParams& params, FrameSize input) {
  FrameSize size{params.targetWidth, params.targetHeight};
  if (params.targetVideoCodec == kH263) {
    const FrameSize legal = SnapH263Size(input);
    if (input.width != 0 && input.height != 0) size = legal;
  }
  if (size == FrameSize{0, 0}) return size;
  if (params.scalePercent >= 1) {
    return {Scaled(params.scalePercent, input.width, Percent100()),
            Scaled(params.scalePercent, input.height, Percent100())};
  }
  if (size.width == 0) size.width = Scaled(size.height, input.width, input.height);
  if (size.height == 0) size.height = Scaled(size.width, input.height, input.width);
  return size;
}

VideoReencode OpenVideoReencode(Output& output, const Input& input, AVStream& source,
                                const TranscodeParams& params) {
  const AVOutputFormat& muxer = *output.Context()->oformat;
  CodecPtr decoder = OpenDecoder(source, DecoderThreads::kAuto);
  const VideoTarget wanted = FindTarget(params, source.codecpar->codec_id);
  const FrameSize size{decoder->width, decoder->height};
  CodecPtr encoder = CreateVideoEncoder({.source = source,
                                         .decoder = *decoder,
                                         .codecId = wanted.codecId,
                                         .muxer = muxer,
                                         .fileBitRate = input.BitRate(),
                                         .size = RequestedSize(params, size)},
                                        params);
  // Opened before the stream is added: an output keeps no stream that can't be encoded.
  OpenEncoder(*encoder, muxer);
  AVStream* const target = output.AddStream(encoder->codec);
  target->codecpar->codec_tag = wanted.tag;
  DescribeVideoEncoder(*encoder, source, muxer, OutputTimeBase(encoder->codec_id, muxer, source),
                       *target);
  target->disposition = source.disposition;
  return {.stream = {.source = &source, .target = target},
          .decoder = std::move(decoder),
          .encoder = std::move(encoder)};
}

}  // namespace mpg
