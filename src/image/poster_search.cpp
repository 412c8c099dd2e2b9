#include "image/poster_search.h"

#include <cmath>
#include <cstring>

#include "core/progress.h"
#include "image/h264_slices.h"
#include "media/timestamps.h"

namespace mpg {
namespace {

constexpr int kToleratedPackets = 251;  // without a frame

bool IsUniformImage(const RgbView& image) {
  if (image.height < 1) return true;
  const std::size_t bytes = std::size_t{3} * static_cast<std::size_t>(image.width) *
                            static_cast<std::size_t>(image.height);
  // Every pixel equals the one before it.
  return std::memcmp(image.pixels, image.pixels + 3, bytes - 3) == 0;
}

// Length of the video in its stream's time base, or AV_NOPTS_VALUE.
std::int64_t DurationMark(VideoSource& source) {
  const AVStream& stream = source.Stream();
  if (IsKnown(stream.duration)) return stream.duration;
  return RescaleTime(source.File().Duration(), AV_TIME_BASE_Q, stream.time_base);
}

// Where the n-th packet lies from the stream's start when nothing tells its time.
std::int64_t EstimatedTime(const AVStream& stream, std::int64_t number) {
  const double rate = av_q2d(stream.r_frame_rate);
  const double frame = 1e6 / (std::isfinite(rate) && rate > 0 ? rate : 25.0);
  const double tick = av_q2d(stream.time_base) * 1e6;
  return static_cast<std::int64_t>(frame * static_cast<double>(number) / tick);
}

// What a decoder may leave out ahead of the first frame that decoding can begin with. H.264's
// shows nothing there; HEVC's shows broken predicted frames and intra frames.
AVDiscard DispensableAheadOfKey(AVCodecID codec) {
  if (codec == AV_CODEC_ID_H264) return AVDISCARD_NONKEY;
  return codec == AV_CODEC_ID_HEVC ? AVDISCARD_NONINTRA : AVDISCARD_DEFAULT;
}

bool CanBegin(const AVStream& stream, const AVPacket& packet) {
  const AVCodecParameters& parameters = *stream.codecpar;
  return (packet.flags & AV_PKT_FLAG_KEY) != 0 ||
         (parameters.codec_id == AV_CODEC_ID_H264 && HasOnlyIntraSlices(parameters, packet));
}

}  // namespace

PosterSearch::PosterSearch(VideoSource& source, RgbConverter& converter, std::int32_t position)
    : source_(source),
      converter_(converter),
      position_(source.IsCover() ? 0 : position),
      duration_(DurationMark(source)) {
  if (duration_ == 0 && !source.IsCover()) throw Error(AVERROR_UNKNOWN);
  // Without a length no packet reaches a position behind the start.
  if (!IsKnown(duration_) && position_ > 0) throw Error(AVERROR_EOF);
}

void PosterSearch::Find() {
  const AVDiscard dispensable = DispensableAheadOfKey(source_.Stream().codecpar->codec_id);
  Check(Read());
  if (dispensable != AVDISCARD_DEFAULT) {
    source_.Decoder().skip_frame = dispensable;
    if (SkipToBeginning()) return;
    source_.Decoder().skip_frame = AVDISCARD_DEFAULT;
    if (IsPosterAtBeginning()) return;
  }
  DecodeToPoster();
}

void PosterSearch::FindPlainly() {
  Check(Read());
  DecodeToPoster();
}

// The next packet at or behind the position.
int PosterSearch::Read() {
  int result = 0;
  do {
    result = source_.Read(*packet_);
  } while (result >= 0 && IsBeforePosition(packets_++));
  return result;
}

bool PosterSearch::IsBeforePosition(std::int64_t number) const {
  if (position_ == 0 || !IsKnown(duration_)) return false;
  const AVStream& stream = source_.Stream();
  const std::int64_t start = IsKnown(stream.start_time) ? stream.start_time : 0;
  const std::int64_t time =
      IsKnown(packet_->pts) ? av_sat_sub64(packet_->pts, start) : EstimatedTime(stream, number);
  return PercentOf(time, duration_) < position_;
}

// The first phase. True when the poster was found on the way; otherwise the packet to begin with
// waits.
bool PosterSearch::SkipToBeginning() {
  while (!CanBegin(source_.Stream(), *packet_)) {
    if (SkipPacket()) return true;
    const int result = Read();
    if (result >= 0) continue;
    // The frames that were left out would have pushed out those that wait for their turn.
    if (DrainToPoster()) return true;
    throw Error(result);
  }
  return false;
}

bool PosterSearch::SkipPacket() {
  const Decoded decoded = Decode(source_.Decoder(), packet_.get(), *frame_);
  if (decoded == Decoded::kFrame) return IsPoster();
  // HEVC's decoder would have shown the frames that it leaves out.
  const bool isLeftOut =
      decoded == Decoded::kNothing && source_.Decoder().skip_frame == AVDISCARD_NONINTRA;
  if (!isLeftOut) CountFruitless();
  return false;
}

// Saves decoding the frames behind that would push the first one out. When that isn't the poster,
// the decoder starts anew and gets the same packet again.
bool PosterSearch::IsPosterAtBeginning() {
  AVCodecContext& decoder = source_.Decoder();
  const bool mayWait = fruitless_ + decoder.has_b_frames <= kToleratedPackets;
  if (!mayWait) return false;
  const Decoded decoded = Decode(decoder, packet_.get(), *frame_);
  if (decoded == Decoded::kFrame && IsPoster()) return true;
  if (DrainToPoster()) return true;
  avcodec_flush_buffers(&decoder);
  return false;
}

bool PosterSearch::DrainToPoster() {
  const AVPacket* const noMore = nullptr;
  while (Decode(source_.Decoder(), noMore, *frame_) == Decoded::kFrame) {
    if (IsPoster()) return true;
  }
  return false;
}

// The second phase.
void PosterSearch::DecodeToPoster() {
  for (;; Check(Read())) {
    if (Decode(source_.Decoder(), packet_.get(), *frame_) != Decoded::kFrame) {
      CountFruitless();
    } else if (IsPoster()) {
      return;
    }
  }
}

bool PosterSearch::IsPoster() {
  const AVPictureType type = frame_->pict_type;
  if (type == AV_PICTURE_TYPE_P || type == AV_PICTURE_TYPE_B) return false;
  converter_.Convert(*frame_);
  return !IsUniformImage(converter_.Image());
}

void PosterSearch::CountFruitless() {
  if (++fruitless_ > kToleratedPackets) throw Error(AVERROR_UNKNOWN);
}

}  // namespace mpg
