#include "transcode/video_encoder_setup.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "media/ffmpeg_versions.h"
#include "media/stream_copy.h"
#include "transcode/frame_converter.h"
#include "transcode/frame_size.h"
#include "transcode/orientation.h"

namespace mpg {
namespace {

AVRational TimeOfOneFrame(const AVStream& source) {
  constexpr std::int64_t kMpeg4Limit = 65535;
  const AVRational rate = FrameRate(source);
  AVRational time{};
  av_reduce(&time.num, &time.den, rate.den, rate.num, kMpeg4Limit);
  return time;
}

// Encoders of one codec differ in speed by a factor of 50. Both formats of SVT-AV1 are 4:2:0.
bool SuitsSvtAv1(const AVCodec& codec, const VideoEncoderRequest& request) {
  constexpr std::int32_t kSmallest = 64;
  constexpr double kHighestRate = 240;
  const FrameSize size = request.size == FrameSize{0, 0}
                             ? FrameSize{request.decoder.width, request.decoder.height}
                             : request.size;
  const AVPixelFormat format = WithoutRange(request.decoder.pix_fmt);
  return std::min(size.width, size.height) >= kSmallest &&
         av_q2d(FrameRate(request.source)) <= kHighestRate &&
         (IsRgb(format) || std::ranges::count(PixelFormats(codec), format) > 0);
}

const AVCodec* FindVideoEncoder(const VideoEncoderRequest& request) {
  if (request.codecId == AV_CODEC_ID_AV1) {
    const AVCodec* const fast = avcodec_find_encoder_by_name("libsvtav1");
    if (fast != nullptr && SuitsSvtAv1(*fast, request)) return fast;
  }
  return avcodec_find_encoder(request.codecId);
}

// The defaults of some encoders take minutes for seconds. These cost less than 1 dB.
struct SpeedOption {
  std::string_view encoder;
  const char* name;
  const char* value;
};
constexpr SpeedOption kSpeedOptions[] = {
    {"libvpx-vp9", "cpu-used", "2"}, {"libvpx-vp9", "row-mt", "1"}, {"libsvtav1", "preset", "8"},
    {"libaom-av1", "cpu-used", "8"}, {"libaom-av1", "row-mt", "1"},
};

void AskForSpeed(AVCodecContext& encoder) {
  encoder.thread_count = 0;  // what suits the machine
  for (const auto& [name, option, value] : kSpeedOptions) {
    // Another version that lacks one is slower, no more.
    if (name == encoder.codec->name) av_opt_set(encoder.priv_data, option, value, 0);
  }
}

bool IsLossy(AVCodecID codecId) {
  const AVCodecDescriptor* const description = avcodec_descriptor_get(codecId);
  return description != nullptr && (description->props & AV_CODEC_PROP_LOSSY) != 0;
}

// 4:2:0 is what players show of lossy codecs; what is more and can stay so does.
bool IsFit(AVPixelFormat format, bool must420, Orientation orientation) {
  const AVPixFmtDescriptor& description = *av_pix_fmt_desc_get(format);
  const bool is420 = description.log2_chroma_w == 1 && description.log2_chroma_h == 1;
  return (is420 || !must420) && CanTurn(format, orientation);
}

AVPixelFormat ChoosePixelFormat(const AVCodec& codec, AVPixelFormat source,
                                Orientation orientation) {
  const std::span<const AVPixelFormat> formats = PixelFormats(codec);
  if (formats.empty()) return source;
  const bool isConverted = IsRgb(source) || !CanTurn(source, orientation);
  const bool must420 = isConverted && IsLossy(codec.id);
  std::vector<AVPixelFormat> fit;
  std::ranges::copy_if(formats, std::back_inserter(fit),
                       [&](AVPixelFormat format) { return IsFit(format, must420, orientation); });
  if (fit.empty()) fit.assign(formats.begin(), formats.end());
  for (const AVPixelFormat wanted : {source, WithoutRange(source)}) {
    if (std::ranges::count(fit, wanted) > 0) return wanted;
  }
  if (source == AV_PIX_FMT_NONE) return fit.front();
  // FFmpeg's list ends with an entry of no format.
  fit.push_back(AV_PIX_FMT_NONE);
  return avcodec_find_best_pix_fmt_of_list(fit.data(), WithoutRange(source), 0, nullptr);
}

// Their streams have no place for the range; players take the limited one for granted.
bool IsAlwaysLimited(AVCodecID codecId) {
  constexpr AVCodecID kCodecs[] = {
      AV_CODEC_ID_MPEG1VIDEO, AV_CODEC_ID_MPEG2VIDEO, AV_CODEC_ID_MPEG4,     AV_CODEC_ID_H263,
      AV_CODEC_ID_H263P,      AV_CODEC_ID_FLV1,       AV_CODEC_ID_MSMPEG4V2, AV_CODEC_ID_MSMPEG4V3,
      AV_CODEC_ID_WMV1,       AV_CODEC_ID_WMV2,       AV_CODEC_ID_VP8,       AV_CODEC_ID_THEORA,
      AV_CODEC_ID_RV10,       AV_CODEC_ID_RV20};
  return std::ranges::count(kCodecs, codecId) > 0;
}

void SetColours(AVCodecContext& encoder, const VideoEncoderRequest& request) {
  const AVCodecParameters& parameters = *request.source.codecpar;
  const AVPixelFormat format = request.decoder.pix_fmt;
  encoder.color_range = parameters.color_range;
  encoder.color_primaries = parameters.color_primaries;
  encoder.color_trc = parameters.color_trc;
  encoder.colorspace = parameters.color_space;
  encoder.chroma_sample_location = parameters.chroma_location;
  if (IsRgb(encoder.pix_fmt)) return;
  if (IsRgb(format) || parameters.color_space == AVCOL_SPC_RGB) {
    encoder.colorspace = MatrixBySize(encoder.height);
  }
  const bool isFull = !IsRgb(format) && IsFullRange(format, parameters.color_range);
  const bool isFullByName = WithoutRange(encoder.pix_fmt) != encoder.pix_fmt;
  if (isFullByName || (isFull && !IsAlwaysLimited(encoder.codec_id))) {
    encoder.color_range = AVCOL_RANGE_JPEG;
  } else if (isFull || IsRgb(format)) {
    encoder.color_range = AVCOL_RANGE_MPEG;
  }
}

bool IsInterlaced(AVFieldOrder order) {
  return order != AV_FIELD_UNKNOWN && order != AV_FIELD_PROGRESSIVE;
}

bool CanCodeFields(AVCodecID codecId) {
  constexpr AVCodecID kCodecs[] = {AV_CODEC_ID_H264, AV_CODEC_ID_MPEG2VIDEO, AV_CODEC_ID_MPEG4};
  return std::ranges::count(kCodecs, codecId) > 0;
}

void AskForFields(AVCodecContext& encoder) {
  encoder.flags |= AV_CODEC_FLAG_INTERLACED_DCT;
  if (CountsFrames(*encoder.codec)) {
    encoder.flags |= AV_CODEC_FLAG_INTERLACED_ME;
  } else if (!IsTopFieldFirst(encoder.field_order)) {
    // x264 learns it from the frames, but too late for its sequence's order of fields.
    av_opt_set(encoder.priv_data, "x264-params", "bff=1", 0);
  }
}

void SetSize(AVCodecContext& encoder, const VideoEncoderRequest& request, Orientation orientation) {
  const AVFieldOrder order = request.source.codecpar->field_order;
  // Turned frames aren't made of lines that came one after the other.
  const bool isInterlaced = IsInterlaced(order) && orientation.IsUpright();
  const bool wantsFields = isInterlaced && CanCodeFields(encoder.codec_id);
  const FrameShape source{.size = {request.decoder.width, request.decoder.height},
                          .pixelAspect = request.source.sample_aspect_ratio.num != 0
                                             ? request.source.sample_aspect_ratio
                                             : request.decoder.sample_aspect_ratio};
  FrameShape shape = FitFrame(source, request.size, *encoder.codec, encoder.pix_fmt, wantsFields);
  if (orientation.swapsSides) {
    std::swap(shape.size.width, shape.size.height);
    if (shape.pixelAspect.num != 0) shape.pixelAspect = av_inv_q(shape.pixelAspect);
  }
  encoder.width = shape.size.width;
  encoder.height = shape.size.height;
  encoder.sample_aspect_ratio = shape.pixelAspect;
  encoder.field_order = orientation.IsUpright() ? order : AV_FIELD_UNKNOWN;
  if (wantsFields && HasWholeFields(encoder.height, encoder.pix_fmt)) AskForFields(encoder);
}

// Broken durations leave rates that no frame could have: they count as unknown. So do those of
// still pictures, a bit for 16 x 16 pixels at most: few key frames have nearly all of the bits, and
// an encoder that keeps to the rate has none for its first frame.
std::int64_t BitRateOf(const VideoEncoderRequest& request) {
  constexpr std::int64_t kFewestBitsOfAFrame = 64;
  constexpr std::int64_t kFewest = 1000;  // encoders count in kilobits
  const std::int64_t blocks = std::int64_t{request.decoder.width} * request.decoder.height / 256;
  const std::int64_t fewestOfAFrame = std::max(kFewestBitsOfAFrame, blocks);
  const double fewest =
      std::max(static_cast<double>(kFewest),
               static_cast<double>(fewestOfAFrame) * av_q2d(FrameRate(request.source)));
  for (const std::int64_t rate : {request.source.codecpar->bit_rate, request.fileBitRate}) {
    if (rate > 0 && static_cast<double>(rate) >= fewest) return rate;
  }
  return 0;
}

// What the source says of its bit rate or of Dolby Vision layers isn't true of other packets.
bool HoldsForReencoded(AVPacketSideDataType type, Orientation orientation) {
  if (type == AV_PKT_DATA_DISPLAYMATRIX) return orientation.IsUpright();
  return type == AV_PKT_DATA_MASTERING_DISPLAY_METADATA || type == AV_PKT_DATA_CONTENT_LIGHT_LEVEL;
}

}  // namespace

bool IsTopFieldFirst(AVFieldOrder order) {
  // As Matroska and FFmpeg's own program mean the interleaved orders, whatever its header says.
  return order == AV_FIELD_TT || order == AV_FIELD_TB;
}

bool CountsFrames(const AVCodec& codec) {
  // libvpx is told that each frame lasts one tick.
  return codec.wrapper_name == nullptr || std::string_view(codec.name).starts_with("libvpx");
}

CodecPtr MakeVideoEncoder(const VideoEncoderRequest& request) {
  const AVCodec* const codec = FindVideoEncoder(request);
  CodecPtr encoder = MakeEncoder(codec);
  const Orientation orientation = OrientationToApply(request.source, request.muxer);
  encoder->pix_fmt = ChoosePixelFormat(*codec, request.decoder.pix_fmt, orientation);
  SetSize(*encoder, request, orientation);
  SetColours(*encoder, request);
  encoder->bit_rate = BitRateOf(request);
  encoder->framerate = FrameRate(request.source);
  encoder->time_base = CountsFrames(*codec) ? TimeOfOneFrame(request.source)
                                            : VideoTimeBase(request.muxer, request.source);
  AskForSpeed(*encoder);
  return encoder;
}

void DescribeVideoEncoder(const AVCodecContext& encoder, const AVStream& source,
                          const AVOutputFormat& muxer, AVRational timeBase, AVStream& target) {
  DescribeEncoder(encoder, target);
  target.time_base = timeBase;
  target.avg_frame_rate = encoder.framerate;
  target.sample_aspect_ratio = encoder.sample_aspect_ratio;
  const Orientation orientation = OrientationToApply(source, muxer);
  for (const AVPacketSideData& entry : SideData(source)) {
    if (HoldsForReencoded(entry.type, orientation)) AddSideData(target, entry);
  }
}

}  // namespace mpg
