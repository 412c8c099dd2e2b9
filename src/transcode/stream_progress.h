// Reports of how far one stream is while another goes beside it.
#pragma once

#include <cstdint>
#include <optional>

#include "core/progress.h"
#include "media/stream_span.h"

namespace mpg {

/// Once the host wants to stop, every answer is false.
class StreamProgress {
 public:
  explicit StreamProgress(Progress progress) : progress_(progress) {}

  /// Before the first report: the stream that tells how far the operation is, and its file.
  void Follow(const AVStream& stream, const Input& file) { total_ = LengthOf(stream, file); }

  /// A position from the start, in the stream's time base.
  bool Report(std::int64_t position) {
    packetsBeside_ = 0;
    if (total_ != 0) TakeAnswer(progress_.ReportRise(PercentOf(position, total_)));
    return !isStopped_;
  }

  /// The time of one of the stream's packets; the first one's is the start.
  bool ReportTime(std::int64_t time) {
    if (!start_) start_ = time;
    return Report(av_sat_sub64(time, *start_));
  }

  /// After each packet of the other stream: where many come in a row, the followed one has ended,
  /// and no percent rises any more.
  bool PassPacketBeside() {
    constexpr int kMostInARow = 100;
    return ++packetsBeside_ > kMostInARow ? AskAgain() : !isStopped_;
  }

  /// For what takes time where no percent rises.
  bool AskAgain() {
    if (!isStopped_) TakeAnswer(progress_.AskAgain());
    return !isStopped_;
  }

  bool IsStopped() const { return isStopped_; }
  void ReportEnd() { progress_.ReportEnd(); }

 private:
  void TakeAnswer(Answer answer) { isStopped_ = answer == Answer::kStop; }

  Progress progress_;
  std::int64_t total_ = 0;  // 0: not known
  std::optional<std::int64_t> start_;
  int packetsBeside_ = 0;
  bool isStopped_ = false;
};

}  // namespace mpg
