#include "transcode/audio_shift.h"

#include "media/timestamps.h"
#include "transcode/same_container.h"

namespace mpg {
namespace {

constexpr AVRational kMilliseconds{1, 1000};

Answer Report(const AVPacket& packet, const AVStream& video, Progress& progress) {
  if (!IsKnown(video.duration) || video.duration == 0 || !IsKnown(packet.pts)) {
    return Answer::kGoOn;
  }
  return progress.ReportRise(PercentOf(packet.pts, video.duration));
}

}  // namespace

void ShiftAudio(const char* inputPath, const char* outputPath, std::int32_t milliseconds,
                Progress progress) {
  SameContainerCopy copy(inputPath, outputPath);
  copy.WriteHeader();
  const PacketPtr packet = MakePacket();
  int result = 0;
  while ((result = copy.File().Read(*packet)) == 0) {
    if (copy.IsAudio(*packet)) {
      copy.Write(*packet, milliseconds, kMilliseconds);
    } else {
      if (Report(*packet, *copy.Video().source, progress) == Answer::kStop) break;
      copy.Write(*packet);
    }
  }
  if (result != AVERROR_EOF) Check(result);
  copy.Finish();
  progress.ReportEnd();
}

}  // namespace mpg
