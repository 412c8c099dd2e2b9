#include "transcode/frame_converter.h"

#include <array>
#include <utility>

#include "media/ffmpeg_versions.h"
#include "transcode/frame_size.h"

namespace mpg {
namespace {

constexpr std::pair<AVPixelFormat, AVPixelFormat> kFullRangeTwins[] = {
    {AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUV420P},
    {AV_PIX_FMT_YUVJ422P, AV_PIX_FMT_YUV422P},
    {AV_PIX_FMT_YUVJ444P, AV_PIX_FMT_YUV444P},
    {AV_PIX_FMT_YUVJ440P, AV_PIX_FMT_YUV440P},
    {AV_PIX_FMT_YUVJ411P, AV_PIX_FMT_YUV411P}};

AVColorSpace MatrixOf(AVColorSpace told, int height) {
  const bool isTold = told != AVCOL_SPC_UNSPECIFIED && told != AVCOL_SPC_RGB;
  return isTold ? told : MatrixBySize(height);
}

struct FieldLines {
  std::array<std::uint8_t*, AV_NUM_DATA_POINTERS> data{};
  std::array<int, AV_NUM_DATA_POINTERS> strides{};
};

// Every `step`-th line from `first` on.
FieldLines LinesOf(const AVFrame& frame, int first, int step) {
  FieldLines lines;
  for (std::size_t i = 0; i < lines.data.size(); ++i) {
    if (frame.data[i] == nullptr) continue;
    lines.data[i] = frame.data[i] + std::ptrdiff_t{first} * frame.linesize[i];
    lines.strides[i] = frame.linesize[i] * step;
  }
  return lines;
}

}  // namespace

bool IsRgb(AVPixelFormat format) {
  const AVPixFmtDescriptor* const description = av_pix_fmt_desc_get(format);
  constexpr std::uint64_t kRgb = AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL;
  return description != nullptr && (description->flags & kRgb) != 0;
}

bool IsFullRange(AVPixelFormat format, AVColorRange range) {
  if (range == AVCOL_RANGE_JPEG || WithoutRange(format) != format || IsRgb(format)) return true;
  const AVPixFmtDescriptor* const description = av_pix_fmt_desc_get(format);
  const bool isGray = description != nullptr && description->nb_components == 1;
  return isGray && range == AVCOL_RANGE_UNSPECIFIED;
}

AVPixelFormat WithoutRange(AVPixelFormat format) {
  for (const auto& [full, plain] : kFullRangeTwins) {
    if (format == full) return plain;
  }
  return format;
}

AVColorSpace MatrixBySize(int height) {
  constexpr int kFirstOfHd = 720;
  return height >= kFirstOfHd ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
}

FrameConverter::Layout FrameConverter::LayoutOf(const AVFrame& frame) {
  const auto format = static_cast<AVPixelFormat>(frame.format);
  return {.width = frame.width,
          .height = frame.height,
          .format = WithoutRange(format),
          .isFullRange = IsFullRange(format, frame.color_range),
          .matrix = MatrixOf(frame.colorspace, frame.height)};
}

FrameConverter::Layout FrameConverter::Wanted() const {
  Layout wanted{.width = encoder_.width,
                .height = encoder_.height,
                .format = WithoutRange(encoder_.pix_fmt),
                .isFullRange = IsFullRange(encoder_.pix_fmt, encoder_.color_range),
                .matrix = MatrixOf(encoder_.colorspace, encoder_.height)};
  if (orientation_.swapsSides) std::swap(wanted.width, wanted.height);
  return wanted;
}

AVFrame& FrameConverter::Convert(AVFrame& frame) {
  const Layout source = LayoutOf(frame);
  Layout target = Wanted();
  // Only RGB has no matrix of its own; others keep theirs.
  if (!IsRgb(source.format)) target.matrix = source.matrix;
  AVFrame* ready = &frame;
  if (source != target) {
    Scale(frame, source, target);
    ready = scaled_.get();
  }
  if (orientation_.IsUpright()) return *ready;
  turned_ = MakeConverted(*ready, encoder_.width, encoder_.height);
  Turn(*ready, orientation_, *turned_);
  return *turned_;
}

// With new buffers each time: the encoder may still look at the last ones.
FramePtr FrameConverter::MakeConverted(const AVFrame& from, int width, int height) const {
  FramePtr frame = MakeFrame();
  Check(av_frame_copy_props(frame.get(), &from));
  frame->format = encoder_.pix_fmt;
  frame->width = width;
  frame->height = height;
  frame->color_range = encoder_.color_range;
  frame->colorspace = encoder_.colorspace;
  Check(av_frame_get_buffer(frame.get(), 0));
  return frame;
}

void FrameConverter::Scale(const AVFrame& from, const Layout& source, const Layout& target) {
  scaled_ = MakeConverted(from, target.width, target.height);
  const bool isByField = IsInterlaced(from) && HasWholeFields(source.height, source.format) &&
                         HasWholeFields(target.height, target.format);
  const int parts = isByField ? kFields : 1;
  Layout sourcePart = source;
  Layout targetPart = target;
  sourcePart.height /= parts;
  targetPart.height /= parts;
  PrepareScaler(sourcePart, targetPart);
  for (int part = 0; part < parts; ++part) {
    const FieldLines in = LinesOf(from, part, parts);
    const FieldLines out = LinesOf(*scaled_, part, parts);
    Check(sws_scale(scaler_.get(), in.data.data(), in.strides.data(), 0, sourcePart.height,
                    out.data.data(), out.strides.data()));
  }
}

void FrameConverter::PrepareScaler(const Layout& source, const Layout& target) {
  if (scaler_ != nullptr && source == scalerSource_ && target == scalerTarget_) return;
  scaler_.reset(CheckAllocated(sws_alloc_context()));
  const std::pair<const char*, int> options[] = {{"sws_flags", SWS_BICUBIC},
                                                 {"srcw", source.width},
                                                 {"srch", source.height},
                                                 {"src_format", source.format},
                                                 {"src_range", source.isFullRange ? 1 : 0},
                                                 {"dstw", target.width},
                                                 {"dsth", target.height},
                                                 {"dst_format", target.format},
                                                 {"dst_range", target.isFullRange ? 1 : 0}};
  for (const auto& [name, value] : options) Check(av_opt_set_int(scaler_.get(), name, value, 0));
  Check(sws_init_context(scaler_.get(), nullptr, nullptr));
  scalerSource_ = source;
  scalerTarget_ = target;
  constexpr int kOne = 1 << 16;
  // It refuses where no matrix is needed.
  sws_setColorspaceDetails(scaler_.get(), sws_getCoefficients(source.matrix),
                           source.isFullRange ? 1 : 0, sws_getCoefficients(target.matrix),
                           target.isFullRange ? 1 : 0, 0, kOne, kOne);
}

}  // namespace mpg
