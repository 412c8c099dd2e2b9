#include "transcode/frame_size.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <string_view>

#include "core/error.h"

namespace mpg {
namespace {

// Codecs, or encoders of them, that don't take every size. The others take sides with half a chroma
// sample, too.
struct SizeRule {
  AVCodecID codecId;
  std::int32_t multiple;
  std::int32_t smallest;
  std::string_view encoder = {};  // empty: any
};
constexpr SizeRule kSizeRules[] = {{AV_CODEC_ID_H264, 2, 16, "libopenh264"},
                                   {AV_CODEC_ID_H264, 1, 1},
                                   {AV_CODEC_ID_HEVC, 1, 16},
                                   {AV_CODEC_ID_AV1, 1, 1},
                                   {AV_CODEC_ID_H263P, 4, 4},
                                   {AV_CODEC_ID_WMV2, 2, 2},
                                   {AV_CODEC_ID_RV10, 16, 16},
                                   {AV_CODEC_ID_RV20, 4, 4}};

const SizeRule* FindRule(const AVCodec& encoder) {
  const auto* const found = std::ranges::find_if(kSizeRules, [&](const SizeRule& rule) {
    return rule.codecId == encoder.id && (rule.encoder.empty() || rule.encoder == encoder.name);
  });
  return found == std::end(kSizeRules) ? nullptr : found;
}

// The next multiple of a power of two.
std::int32_t Grown(std::int32_t side, std::int32_t smallest, std::int32_t multiple) {
  if (side > std::numeric_limits<std::int32_t>::max() - multiple) return side;
  return (std::max({side, smallest, 1}) + multiple - 1) & -multiple;
}

// The sides' proportion, but for what one step of either side makes up.
bool IsUniform(FrameSize from, FrameSize to, FrameSize step) {
  const std::int64_t crossed = std::int64_t{to.width} * from.height;
  const std::int64_t expected = std::int64_t{to.height} * from.width;
  const std::int64_t difference = std::abs(crossed - expected);
  return difference < std::int64_t{step.width} * from.height ||
         difference < std::int64_t{step.height} * from.width;
}

AVRational ReshapedPixel(const FrameShape& source, FrameSize size, AVCodecID codecId) {
  constexpr AVCodecID kOfEightBits[] = {AV_CODEC_ID_MPEG4, AV_CODEC_ID_H263, AV_CODEC_ID_H263P};
  const std::int64_t limit = std::ranges::count(kOfEightBits, codecId) > 0 ? 255 : 65535;
  AVRational aspect = source.pixelAspect.num > 0 ? source.pixelAspect : AVRational{1, 1};
  aspect = av_mul_q(aspect, {source.size.width, size.width});
  aspect = av_mul_q(aspect, {size.height, source.size.height});
  av_reduce(&aspect.num, &aspect.den, aspect.num, aspect.den, limit);
  return aspect;
}

}  // namespace

bool HasWholeFields(int height, AVPixelFormat format) {
  const AVPixFmtDescriptor* const description = av_pix_fmt_desc_get(format);
  const bool hasLines = description != nullptr && (description->flags & AV_PIX_FMT_FLAG_PAL) == 0;
  return hasLines && height % (kFields << description->log2_chroma_h) == 0;
}

FrameShape FitFrame(const FrameShape& source, FrameSize wanted, const AVCodec& encoder,
                    AVPixelFormat format, bool hasFields) {
  const bool isKept = wanted == FrameSize{0, 0} || wanted == source.size;
  const bool isPossible =
      source.size.width > 0 && source.size.height > 0 && wanted.width >= 0 && wanted.height >= 0;
  if (!isPossible) throw Error(AVERROR(EINVAL));
  const SizeRule* const rule = FindRule(encoder);
  FrameSize size = isKept ? source.size : wanted;
  if (encoder.id == AV_CODEC_ID_H263) size = SnapH263Size(size);
  FrameSize step{1, 1};
  if (const auto* const description = av_pix_fmt_desc_get(format)) {
    step = {1 << description->log2_chroma_w, 1 << description->log2_chroma_h};
  }
  if (hasFields && !isKept) step.height *= kFields;
  if (rule != nullptr) {
    step = {std::max(step.width, rule->multiple), std::max(step.height, rule->multiple)};
  }
  if (rule != nullptr || !isKept) {
    const std::int32_t smallest = rule == nullptr ? 1 : rule->smallest;
    size = {Grown(size.width, smallest, step.width), Grown(size.height, smallest, step.height)};
  }
  const bool isSame = size == source.size || IsUniform(source.size, size, step);
  return {size, isSame ? source.pixelAspect : ReshapedPixel(source, size, encoder.id)};
}

}  // namespace mpg
