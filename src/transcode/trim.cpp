#include "transcode/trim.h"

#include "media/codec.h"
#include "media/seek.h"
#include "media/timestamps.h"
#include "transcode/same_container.h"
#include "transcode/video_encoder.h"
#include "transcode/video_encoder_setup.h"

namespace mpg {
namespace {

constexpr int kToleratedErrors = 26;

CodecPtr OpenVideoDecoder(const AVStream& source) {
  CodecPtr decoder = OpenDecoder(source, DecoderThreads::kAuto);
  if (decoder->width == 0 || decoder->height == 0) throw Error(AVERROR_UNKNOWN);
  return decoder;
}

class Trim {
 public:
  Trim(const char* inputPath, const char* outputPath, std::uint32_t startSecond,
       std::uint32_t endSecond)
      : copy_(inputPath, outputPath, VideoUse::kReencoded),
        source_(*copy_.Video().source),
        decoder_(OpenVideoDecoder(source_)),
        encoder_(OpenSameCodec()),
        videoEncoder_(*encoder_, copy_.Target(), source_, *copy_.Video().target),
        startSecond_(startSecond),
        start_(TimeStampAt(source_, startSecond)),
        end_(TimeStampAt(source_, endSecond)) {}

  void Run() {
    copy_.WriteHeader();
    Check(SeekVideoToSecond(copy_.File(), *decoder_, source_, startSecond_));
    copy_.ReadPackets([this](AVPacket& packet) {
      if (copy_.IsAudio(packet)) {
        copy_.Write(packet, -start_, source_.time_base);
      } else if (IsPastEverything(packet)) {
        FinishVideo();
      } else if (IsWanted(packet)) {
        Decode(&packet);
      }
      return errors_ <= kToleratedErrors;
    });
    FinishVideo();
    copy_.Finish();
  }

 private:
  CodecPtr OpenSameCodec() {
    AVStream& target = *copy_.Video().target;
    const AVOutputFormat& muxer = *copy_.Target().Context()->oformat;
    CodecPtr encoder = MakeVideoEncoder({.source = source_,
                                         .decoder = *decoder_,
                                         .codecId = source_.codecpar->codec_id,
                                         .muxer = muxer,
                                         .fileBitRate = copy_.File().BitRate()});
    OpenEncoder(*encoder, muxer);
    DescribeVideoEncoder(*encoder, source_, muxer, VideoTimeBase(muxer, source_), target);
    return encoder;
  }

  // A frame behind the end may still be what an earlier one is predicted from: as long as
  // decoding times haven't reached the end, it is decoded, too.
  bool IsWanted(const AVPacket& packet) const {
    const std::int64_t time = IsKnown(packet.dts) ? packet.dts : packet.pts;
    return !IsKnown(time) || time <= end_;
  }

  // No earlier frame follows. Where only presentation times are known, a second is room enough
  // for those that come out of turn.
  bool IsPastEverything(const AVPacket& packet) const {
    if (IsKnown(packet.dts)) return packet.dts > end_;
    const std::int64_t second = av_rescale_q(1, {1, 1}, source_.time_base);
    return IsKnown(packet.pts) && packet.pts > av_sat_add64(end_, second);
  }

  // As soon as the last frame was read: the file would else hold the rest of the audio first.
  void FinishVideo() {
    if (isFinished_) return;
    isFinished_ = true;
    Decode(nullptr);
    videoEncoder_.Drain();
    copy_.EndVideo();
  }

  void Decode(const AVPacket* packet) {
    const int result = DecodePacket(*decoder_, packet, *frame_, [this] { Keep(); });
    if (result < 0) ++errors_;
  }

  void Keep() {
    const std::int64_t time = clock_.TimeOf(*frame_);
    if (!IsKnown(time) || time < start_ || time > end_) return;
    frame_->pts = time - start_;
    videoEncoder_.Encode(*frame_, source_.time_base);
  }

  SameContainerCopy copy_;
  const AVStream& source_;
  CodecPtr decoder_;
  CodecPtr encoder_;
  VideoEncoder videoEncoder_;
  const std::uint32_t startSecond_;
  const std::int64_t start_;
  const std::int64_t end_;
  FramePtr frame_ = MakeFrame();
  FrameClock clock_;
  int errors_ = 0;
  bool isFinished_ = false;
};

}  // namespace

void TrimVideo(const char* inputPath, const char* outputPath, std::uint32_t startSecond,
               std::uint32_t endSecond) {
  Trim(inputPath, outputPath, startSecond, endSecond).Run();
}

}  // namespace mpg
