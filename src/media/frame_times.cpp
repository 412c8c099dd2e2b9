#include "media/frame_times.h"

#include <algorithm>
#include <string_view>

#include "media/timestamps.h"

namespace mpg {
namespace {

// No codec lets more frames overtake another one.
constexpr std::size_t kMostAhead = 16;
// Of all streams. Where a video ends early the audio behind it would be looked through to its end.
constexpr std::size_t kMostPackets = 300;

}  // namespace

FrameTimes::FrameTimes(const AVFormatContext& format)
    : format_(&format),
      isAvi_(std::string_view(format.iformat->name) == "avi"),
      leavesOutTimes_(isAvi_ || std::string_view(format.iformat->name) == "mpeg") {}

bool FrameTimes::Hold(AVPacket& packet) {
  const bool isFrame = IsFrame(packet);
  if (!isFrame && queue_.empty()) return false;
  Held& held =
      queue_.emplace_back(Held{.packet = MakePacket(), .isFrame = isFrame, .waits = isFrame});
  av_packet_move_ref(held.packet.get(), &packet);
  if (isFrame) Add(held);
  if (queue_.size() >= kMostPackets) End();
  return true;
}

// Other containers are followed from the first packet on that lacks its time.
bool FrameTimes::IsFrame(const AVPacket& packet) {
  if (stream_ == kNone) {
    const bool lacksTime = IsKnown(packet.dts) && !IsKnown(packet.pts);
    if (!leavesOutTimes_ && !lacksTime) return false;
    const AVCodecParameters& parameters = *format_->streams[packet.stream_index]->codecpar;
    if (!PictureOrder::Exist(parameters)) return false;
    stream_ = packet.stream_index;
    delay_ = std::max<std::int64_t>(delay_, parameters.video_delay);
    numbers_.emplace(parameters);
  }
  return packet.stream_index == stream_ && (IsKnown(packet.dts) || IsKnown(lastTime_));
}

void FrameTimes::Add(Held& held) {
  CountTime(*held.packet);
  std::int64_t number = numbers_->Number(*held.packet);
  // A jump back farther than frames overtake each other.
  if (number <= lastShown_) number = numbers_->Restart();
  waiting_.push_back({number, &held});
  if (waiting_.size() > kMostAhead) ShowNext();
}

void FrameTimes::CountTime(AVPacket& packet) {
  if (!IsKnown(packet.dts)) {
    packet.dts = av_sat_add64(lastTime_, std::max<std::int64_t>(packet.duration, 1));
  } else if (IsKnown(lastTime_)) {
    const std::int64_t step = av_sat_sub64(packet.dts, lastTime_);
    if (step > 0 && (step_ == 0 || step < step_)) step_ = step;
  }
  lastTime_ = packet.dts;
  decodingTimes_.push_back(packet.dts);
}

void FrameTimes::ShowNext() {
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
void FrameTimes::LearnDelay() {
  for (auto frame = waiting_.begin(); frame != waiting_.end(); ++frame) {
    const auto overtaken = std::count_if(waiting_.begin(), frame, [&](const Waiting& earlier) {
      return earlier.number > frame->number;
    });
    delay_ = std::max<std::int64_t>(delay_, overtaken);
  }
}

// AVI shows its first frame at once; decoding times elsewhere run ahead.
std::int64_t FrameTimes::TimeOfNext() const {
  const std::size_t ahead = isAvi_ ? 0 : static_cast<std::size_t>(delay_);
  if (ahead < decodingTimes_.size()) return decodingTimes_[ahead];
  const auto missing = static_cast<std::int64_t>(ahead - decodingTimes_.size() + 1);
  return av_sat_add64(decodingTimes_.back(), missing * step_);
}

void FrameTimes::End() {
  while (!waiting_.empty()) ShowNext();
}

bool FrameTimes::Take(AVPacket& packet) {
  if (queue_.empty() || queue_.front().waits) return false;
  Held& next = queue_.front();
  av_packet_move_ref(&packet, next.packet.get());
  if (next.isFrame) LowerDecodingTime(packet);
  queue_.pop_front();
  return true;
}

// No frame is shown before it is decoded: in AVI each gets the time of one decoded earlier.
void FrameTimes::LowerDecodingTime(AVPacket& packet) {
  taken_.push_back(packet.dts);
  const std::int64_t missing = delay_ + 1 - std::ssize(taken_);
  if (isAvi_) packet.dts = av_sat_sub64(taken_.front(), std::max<std::int64_t>(missing, 0) * step_);
  if (missing <= 0) taken_.pop_front();
  if (IsKnown(packet.pts)) packet.dts = std::min(packet.dts, packet.pts);
}

void FrameTimes::Reset() {
  const std::int64_t delay = delay_;
  *this = FrameTimes(*format_);
  delay_ = delay;
}

}  // namespace mpg
