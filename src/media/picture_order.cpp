#include "media/picture_order.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace mpg {
namespace {

bool HasFrameCounts(AVCodecID codecId) {
  return codecId == AV_CODEC_ID_H264 || codecId == AV_CODEC_ID_HEVC;
}

bool HoldsTwoMpeg4Frames(const AVPacket& packet) {
  constexpr std::string_view kVopStart("\0\0\1\xB6", 4);
  const std::string_view data(reinterpret_cast<const char*>(packet.data),
                              static_cast<std::size_t>(packet.size));
  const std::size_t first = data.find(kVopStart);
  return first != data.npos && data.find(kVopStart, first + 1) != data.npos;
}

}  // namespace

bool PictureOrder::Exist(const AVCodecParameters& parameters) {
  const AVCodecDescriptor* const codec = avcodec_descriptor_get(parameters.codec_id);
  if (codec == nullptr || (codec->props & AV_CODEC_PROP_REORDER) == 0) return false;
  return ParserPtr(av_parser_init(parameters.codec_id)) != nullptr;
}

PictureOrder::PictureOrder(const AVCodecParameters& parameters)
    : description_(CheckAllocated(avcodec_alloc_context3(nullptr))),
      parser_(CheckAllocated(av_parser_init(parameters.codec_id))),
      areCounted_(HasFrameCounts(parameters.codec_id)) {
  Check(avcodec_parameters_to_context(description_.get(), &parameters));
  parser_->flags |= PARSER_FLAG_COMPLETE_FRAMES;
}

std::int64_t PictureOrder::Number(const AVPacket& frame) {
  Parse(frame);
  inSequence_ = areCounted_ ? parser_->output_picture_number : NumberByType(frame);
  // Counts go on behind some key frames and begin anew with others.
  const bool beginsAnew = areCounted_ && parser_->key_frame == 1 && base_ + inSequence_ <= highest_;
  return beginsAnew ? Restart() : Noted(base_ + inSequence_);
}

std::int64_t PictureOrder::Restart() {
  // Frames shown before the first that is decoded have negative counts.
  constexpr std::int64_t kRoom = 1024;
  base_ = highest_ + kRoom - inSequence_;
  return Noted(base_ + inSequence_);
}

std::int64_t PictureOrder::Noted(std::int64_t number) {
  highest_ = std::max(highest_, number);
  return number;
}

void PictureOrder::Parse(const AVPacket& frame) {
  parser_->pict_type = AV_PICTURE_TYPE_NONE;
  std::uint8_t* data = nullptr;
  int size = 0;
  av_parser_parse2(parser_.get(), description_.get(), &data, &size, frame.data, frame.size,
                   frame.pts, frame.dts, frame.pos);
}

// B-frames are shown at once, the others when the next of the others is decoded.
std::int64_t PictureOrder::NumberByType(const AVPacket& frame) {
  const bool isMpeg4 = description_->codec_id == AV_CODEC_ID_MPEG4;
  if (isMpeg4 && !areHidden_) areHidden_ = HoldsTwoMpeg4Frames(frame);
  const bool isLate =
      parser_->pict_type == AV_PICTURE_TYPE_B || parser_->pict_type == AV_PICTURE_TYPE_BI;
  if (isLate && !areHidden_) return 2 * references_;
  return 2 * ++references_ + 1;
}

}  // namespace mpg
