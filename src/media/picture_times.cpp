#include "media/picture_times.h"

#include <algorithm>
#include <string_view>

#include "media/timestamps.h"

namespace mpg {
namespace {

// No codec lets more pictures overtake another one.
constexpr std::size_t kMostAhead = 16;
// Of all streams. Where a video ends early the sound behind it would be looked through to its end.
constexpr std::size_t kMostPackets = 300;

}  // namespace

PictureTimes::PictureTimes(const AVFormatContext& format)
    : format_(&format),
      isAvi_(std::string_view(format.iformat->name) == "avi"),
      leavesOutTimes_(isAvi_ || std::string_view(format.iformat->name) == "mpeg") {}

bool PictureTimes::Hold(AVPacket& packet) {
  const bool isPicture = IsPicture(packet);
  if (!isPicture && queue_.empty()) return false;
  Held& held =
      queue_.emplace_back(Held{.packet = MakePacket(), .isPicture = isPicture, .waits = isPicture});
  av_packet_move_ref(held.packet.get(), &packet);
  if (isPicture) Add(held);
  if (queue_.size() >= kMostPackets) End();
  return true;
}

// Other containers are followed from the first packet on that lacks its time.
bool PictureTimes::IsPicture(const AVPacket& packet) {
  if (stream_ == kNone) {
    const bool lacksTime = IsKnown(packet.dts) && !IsKnown(packet.pts);
    if (!leavesOutTimes_ && !lacksTime) return false;
    const AVCodecParameters& parameters = *format_->streams[packet.stream_index]->codecpar;
    if (!PictureNumbers::Exist(parameters)) return false;
    stream_ = packet.stream_index;
    delay_ = std::max<std::int64_t>(delay_, parameters.video_delay);
    numbers_.emplace(parameters);
  }
  return packet.stream_index == stream_ && (IsKnown(packet.dts) || IsKnown(lastTime_));
}

void PictureTimes::Add(Held& held) {
  CountTime(*held.packet);
  std::int64_t number = numbers_->Number(*held.packet);
  // A jump back farther than pictures overtake each other.
  if (number <= lastShown_) number = numbers_->Restart();
  waiting_.push_back({number, &held});
  if (waiting_.size() > kMostAhead) ShowNext();
}

void PictureTimes::CountTime(AVPacket& packet) {
  if (!IsKnown(packet.dts)) {
    packet.dts = av_sat_add64(lastTime_, std::max<std::int64_t>(packet.duration, 1));
  } else if (IsKnown(lastTime_)) {
    const std::int64_t step = av_sat_sub64(packet.dts, lastTime_);
    if (step > 0 && (step_ == 0 || step < step_)) step_ = step;
  }
  lastTime_ = packet.dts;
  decodingTimes_.push_back(packet.dts);
}

void PictureTimes::ShowNext() {
  if (taken_.empty()) LearnDelay();
  const auto next = std::ranges::min_element(waiting_, {}, &Waiting::number);
  AVPacket& packet = *next->held->packet;
  if (isAvi_ || !IsKnown(packet.pts)) packet.pts = TimeOfNext();
  if (numbers_->AreHidden()) packet.pts = AV_NOPTS_VALUE;
  next->held->waits = false;
  lastShown_ = std::max(lastShown_, next->number);
  waiting_.erase(next);
  decodingTimes_.pop_front();
}

// Streams don't always announce by how much their decoding runs ahead.
void PictureTimes::LearnDelay() {
  for (auto picture = waiting_.begin(); picture != waiting_.end(); ++picture) {
    const auto overtaken = std::count_if(waiting_.begin(), picture, [&](const Waiting& earlier) {
      return earlier.number > picture->number;
    });
    delay_ = std::max<std::int64_t>(delay_, overtaken);
  }
}

// AVI shows its first picture at once; decoding times elsewhere run ahead.
std::int64_t PictureTimes::TimeOfNext() const {
  const std::size_t ahead = isAvi_ ? 0 : static_cast<std::size_t>(delay_);
  if (ahead < decodingTimes_.size()) return decodingTimes_[ahead];
  const auto missing = static_cast<std::int64_t>(ahead - decodingTimes_.size() + 1);
  return av_sat_add64(decodingTimes_.back(), missing * step_);
}

void PictureTimes::End() {
  while (!waiting_.empty()) ShowNext();
}

bool PictureTimes::Take(AVPacket& packet) {
  if (queue_.empty() || queue_.front().waits) return false;
  Held& next = queue_.front();
  av_packet_move_ref(&packet, next.packet.get());
  if (next.isPicture) LowerDecodingTime(packet);
  queue_.pop_front();
  return true;
}

// No picture is shown before it is decoded: in AVI each gets the time of one decoded earlier.
void PictureTimes::LowerDecodingTime(AVPacket& packet) {
  taken_.push_back(packet.dts);
  const std::int64_t missing = delay_ + 1 - std::ssize(taken_);
  if (isAvi_) packet.dts = av_sat_sub64(taken_.front(), std::max<std::int64_t>(missing, 0) * step_);
  if (missing <= 0) taken_.pop_front();
  if (IsKnown(packet.pts)) packet.dts = std::min(packet.dts, packet.pts);
}

void PictureTimes::Reset() {
  const std::int64_t delay = delay_;
  *this = PictureTimes(*format_);
  delay_ = delay;
}

}  // namespace mpg
