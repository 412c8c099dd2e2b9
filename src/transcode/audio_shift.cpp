#include "transcode/audio_shift.h"

#include "transcode/same_container.h"
#include "transcode/stream_progress.h"

namespace mpg {

void ShiftAudio(const char* inputPath, const char* outputPath, std::int32_t milliseconds,
                Progress progress) {
  constexpr AVRational kMilliseconds{1, 1000};
  SameContainerCopy copy(inputPath, outputPath);
  copy.WriteHeader();
  const AVStream& video = *copy.Video().source;
  StreamProgress reports(progress);
  reports.Follow(video, copy.File());
  copy.ReadPackets([&](AVPacket& packet) {
    if (copy.IsAudio(packet)) {
      copy.Write(packet, milliseconds, kMilliseconds);
      return reports.PassPacketBeside();
    }
    if (IsKnown(packet.pts) && !reports.Report(FromStart(packet.pts, video))) return false;
    copy.Write(packet);
    return true;
  });
  copy.Finish();
  reports.ReportEnd();
}

}  // namespace mpg
