#include "transcode/audio_shift.h"

#include "media/stream_span.h"
#include "transcode/same_container.h"

namespace mpg {
namespace {

constexpr AVRational kMilliseconds{1, 1000};
constexpr int kSoundBesidePictures = 100;  // packets

}  // namespace

void ShiftAudio(const char* inputPath, const char* outputPath, std::int32_t milliseconds,
                Progress progress) {
  SameContainerCopy copy(inputPath, outputPath);
  copy.WriteHeader();
  const AVStream& video = *copy.Video().source;
  const std::int64_t total = LengthOf(video, copy.File());
  int soundInARow = 0;
  copy.ReadPackets([&](AVPacket& packet) {
    if (copy.IsAudio(packet)) {
      copy.Write(packet, milliseconds, kMilliseconds);
      // Much sound and no picture: what follows the last one rises no more.
      return ++soundInARow <= kSoundBesidePictures || progress.AskAgain() == Answer::kGoOn;
    }
    soundInARow = 0;
    if (total != 0 && IsKnown(packet.pts)) {
      const std::int32_t percent = PercentOf(FromStart(packet.pts, video), total);
      if (progress.ReportRise(percent) == Answer::kStop) return false;
    }
    copy.Write(packet);
    return true;
  });
  copy.Finish();
  progress.ReportEnd();
}

}  // namespace mpg
