#include "image/frame_grab.h"

#include <cmath>
#include <cstring>
#include <optional>
#include <utility>

#include "core/progress.h"
#include "image/image_files.h"
#include "image/memory_bitmap.h"
#include "image/rgb_converter.h"
#include "media/codec.h"
#include "media/input.h"
#include "media/output.h"
#include "media/seek.h"
#include "media/stream_finder.h"
#include "media/timestamps.h"
#include "platform/platform.h"

namespace mpg {
namespace {

// The first video stream of a file with its decoder.
class VideoSource {
 public:
  // Throws Error when there is no video, or FFmpeg can't both decode and encode it.
  explicit VideoSource(const char* path) : input_(path), stream_(FindVideo(input_)) {
    input_.ReadOnly(stream_);
    decoder_ = OpenDecoder(*stream_.codecpar);
    if (decoder_->width == 0 || decoder_->height == 0) throw Error(AVERROR_UNKNOWN);
  }

  Input& File() { return input_; }
  const AVStream& Stream() const { return stream_; }
  AVCodecContext& Decoder() const { return *decoder_; }

  // 0, or a negative code at the end of the input or when it can't be read.
  int Read(AVPacket& packet) { return input_.Read(packet); }

 private:
  static const AVStream& FindVideo(const Input& input) {
    const AVStream* const stream = FindFirstStream(input.Context(), AVMEDIA_TYPE_VIDEO);
    if (stream == nullptr) throw Error(MPG_ERR_VIDEO_STREAM_NOT_FOUND);
    if (avcodec_find_encoder(stream->codecpar->codec_id) == nullptr) throw Error(AVERROR_UNKNOWN);
    return *stream;
  }

  Input input_;
  const AVStream& stream_;
  CodecPtr decoder_;
};

enum class Decoded { kPicture, kNothing, kError };

// One packet in, at most one picture out.
Decoded Decode(AVCodecContext& decoder, const AVPacket& packet, AVFrame& picture) {
  const int sent = RequireMemory(avcodec_send_packet(&decoder, &packet));
  if (sent < 0 && sent != AVERROR_EOF) return Decoded::kError;
  const int received = RequireMemory(avcodec_receive_frame(&decoder, &picture));
  if (received >= 0) return Decoded::kPicture;
  return received == AVERROR(EAGAIN) ? Decoded::kNothing : Decoded::kError;
}

bool IsUniformImage(const RgbImage& image) {
  if (image.height < 1) return true;
  const std::size_t bytes = std::size_t{3} * static_cast<std::size_t>(image.width) *
                            static_cast<std::size_t>(image.height);
  // Every pixel equals the one before it.
  return std::memcmp(image.pixels, image.pixels + 3, bytes - 3) == 0;
}

bool WriteImage(const RgbImage& image, ImageFormat format, const char* path,
                std::uint32_t quality) {
  switch (format) {
    case MPG_IMAGE_PPM:
      return WritePpmImage(path, image);
    case MPG_IMAGE_BMP:
      return WriteBmpImage(path, image);
    case MPG_IMAGE_JPEG:
      return WriteJpegImage(path, image, quality);
    default:
      return false;
  }
}

// Length of the video in its stream's time base, or AV_NOPTS_VALUE.
std::int64_t DurationMark(VideoSource& source) {
  const AVStream& stream = source.Stream();
  if (IsKnown(stream.duration)) return stream.duration;
  return RescaleTime(source.File().Duration(), AV_TIME_BASE_Q, stream.time_base);
}

// Where the n-th packet lies when nothing tells its time.
std::int64_t EstimatedTime(const AVStream& stream, std::int64_t number) {
  const double rate = av_q2d(stream.r_frame_rate);
  const double frame = 1e6 / (std::isfinite(rate) && rate > 0 ? rate : 25.0);
  const double tick = av_q2d(stream.time_base) * 1e6;
  return static_cast<std::int64_t>(frame * static_cast<double>(number) / tick);
}

// Finds the first picture that is worth to be shown.
class PosterSearch {
 public:
  PosterSearch(VideoSource& source, int height)
      : decoder_(source.Decoder()),
        converter_(decoder_.width, decoder_.height, height),
        skipsPredicted_(CanSkipPredicted(source)) {
    if (skipsPredicted_) decoder_.skip_frame = AVDISCARD_NONINTRA;
  }

  // Decodes a packet; the picture, if that brought it to light. Throws Error when too many packets
  // brought no picture at all.
  std::optional<RgbImage> Try(const AVPacket& packet) {
    const Decoded decoded = Decode(decoder_, packet, *picture_);
    if (decoded == Decoded::kPicture) {
      if (const auto image = ImageOfPicture()) return image;
    } else if (decoded == Decoded::kError || !skipsPredicted_) {
      if (++fruitless_ > kFruitlessPackets) throw Error(AVERROR_UNKNOWN);
    }
    const bool isKey = (packet.flags & AV_PKT_FLAG_KEY) != 0;
    return skipsPredicted_ && isKey ? TryHeldBack() : std::nullopt;
  }

 private:
  static constexpr int kFruitlessPackets = 251;

  // These decoders pass over predicted pictures without decoding them, which is nearly all the work
  // between two others. A field may be predicted from the other one of its own picture.
  static bool CanSkipPredicted(const VideoSource& source) {
    const AVCodecParameters& parameters = *source.Stream().codecpar;
    return (parameters.codec_id == AV_CODEC_ID_H264 || parameters.codec_id == AV_CODEC_ID_HEVC) &&
           parameters.field_order == AV_FIELD_PROGRESSIVE;
  }

  // Without predicted pictures behind it nothing pushes a picture out that waits for its turn.
  std::optional<RgbImage> TryHeldBack() {
    std::optional<RgbImage> image;
    avcodec_send_packet(&decoder_, nullptr);
    while (!image && avcodec_receive_frame(&decoder_, picture_.get()) >= 0) {
      image = ImageOfPicture();
    }
    avcodec_flush_buffers(&decoder_);
    return image;
  }

  std::optional<RgbImage> ImageOfPicture() {
    if (picture_->pict_type == AV_PICTURE_TYPE_P || picture_->pict_type == AV_PICTURE_TYPE_B) {
      return std::nullopt;
    }
    const RgbImage image = converter_.Convert(*picture_);
    if (IsUniformImage(image)) return std::nullopt;
    return image;
  }

  AVCodecContext& decoder_;
  RgbConverter converter_;
  const bool skipsPredicted_;
  const FramePtr picture_ = MakeFrame();
  int fruitless_ = 0;
};

bool TryGrabByPercent(const GrabRequest& request, ImageFormat format, const char* outputPath,
                      std::int32_t position, std::uint32_t quality) {
  VideoSource source(request.inputPath);
  const std::int64_t duration = DurationMark(source);
  if (duration == 0) throw Error(AVERROR_UNKNOWN);
  // Without a length no packet reaches a position behind the start.
  if (!IsKnown(duration) && position > 0) throw Error(AVERROR_EOF);

  PosterSearch search(source, request.height);
  const PacketPtr packet = MakePacket();
  for (std::int64_t number = 0;; ++number) {
    Check(source.Read(*packet));
    if (position != 0 && IsKnown(duration)) {
      const std::int64_t time =
          IsKnown(packet->pts) ? packet->pts : EstimatedTime(source.Stream(), number);
      if (PercentOf(time, duration) < position) continue;
    }
    if (const auto image = search.Try(*packet)) {
      Check(source.File().FileError());
      return WriteImage(*image, format, outputPath, quality);
    }
  }
}

// The two samples around a time: every 20th decoded picture is one. `before` is the last that lies
// ahead of the time, `at` the first that doesn't; either may be missing, not both.
struct Samples {
  FramePtr before;
  FramePtr at;
};

Samples ReadSamples(VideoSource& source, std::uint32_t second) {
  constexpr int kToleratedErrors = 26;
  constexpr int kStride = 20;
  Check(SeekVideoToSecond(source.File(), source.Decoder(), source.Stream(), second));
  const std::int64_t target = TimeStampAt(source.Stream(), second);

  Samples samples;
  const PacketPtr packet = MakePacket();
  FramePtr picture = MakeFrame();
  int errors = 0;
  std::int64_t pictures = 0;
  for (;;) {
    const int result = source.Read(*packet);
    if (result == AVERROR_EOF && samples.before != nullptr) return samples;
    Check(result);
    const Decoded decoded = Decode(source.Decoder(), *packet, *picture);
    if (decoded == Decoded::kError && ++errors > kToleratedErrors) throw Error(AVERROR_UNKNOWN);
    if (decoded != Decoded::kPicture || pictures++ % kStride != 0) continue;
    // An unknown time stamp is smaller than any other.
    FramePtr& sample = packet->pts < target ? samples.before : samples.at;
    sample = std::exchange(picture, MakeFrame());
    if (samples.at != nullptr) return samples;
  }
}

Samples FindSamples(VideoSource& source, std::uint32_t second) {
  Samples samples = ReadSamples(source, second);
  Check(source.File().FileError());
  return samples;
}

}  // namespace

bool GrabFrameByPercent(const GrabRequest& request, ImageFormat format, const char* outputPath,
                        std::int32_t position, std::uint32_t quality) {
  RequireOtherFile(outputPath, request.inputPath);
  const platform::Path output = outputPath;  // before memory may run out
  bool written = false;
  try {
    written = TryGrabByPercent(request, format, outputPath, position, quality);
  } catch (const std::exception&) {
    // Whatever it was, the output goes.
  }
  if (written && platform::FileSize(output) > 0) return true;
  platform::RemoveFile(output);
  return false;
}

void* GrabBitmapBySecond(const GrabRequest& request, std::uint32_t second, std::uint32_t& size) {
  VideoSource source(request.inputPath);
  RgbConverter converter(source.Decoder().width, source.Decoder().height, request.height);
  const Samples samples = FindSamples(source, second);
  return BuildMemoryBitmap(converter.Convert(*(samples.before ? samples.before : samples.at)),
                           size);
}

bool GrabJpegBySecond(const GrabRequest& request, std::uint32_t second, const char* outputPath) {
  constexpr std::uint32_t kQuality = 20;
  RequireOtherFile(outputPath, request.inputPath);
  VideoSource source(request.inputPath);
  RgbConverter converter(source.Decoder().width, source.Decoder().height, request.height);
  const Samples samples = FindSamples(source, second);
  return WriteJpegImage(outputPath, converter.Convert(*(samples.at ? samples.at : samples.before)),
                        kQuality);
}

}  // namespace mpg
