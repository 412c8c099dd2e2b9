#include "media/input.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "media/timestamps.h"
#include "platform/platform.h"

namespace mpg {

OpenedFile::OpenedFile(const char* path) {
  AVFormatContext* context = nullptr;
  Check(avformat_open_input(&context, platform::FfmpegName(path).c_str(), nullptr, nullptr));
  format_.reset(context);
}

Input::Input(OpenedFile&& file) : format_(std::move(file.format_)) {
  Check(avformat_find_stream_info(format_.get(), nullptr));
  // AVI and MPEG program streams leave out the presentation times of all but B pictures; they
  // follow from the decoding times of the pictures behind.
  format_->flags |= AVFMT_FLAG_GENPTS;
  isAvi_ = std::string_view(format_->iformat->name) == "avi";
}

std::int64_t Input::FileSize() const {
  if (format_->pb == nullptr) return 0;
  return std::max<std::int64_t>(avio_size(format_->pb), 0);
}

void Input::ReadOnly(std::initializer_list<int> streamIndexes) {
  onlyStreams_ = streamIndexes;
  for (AVStream* stream : Streams()) {
    stream->discard =
        std::ranges::count(onlyStreams_, stream->index) > 0 ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
  }
}

bool Input::IsWanted(const AVPacket& packet) {
  if (packet.stream_index == skippedStream_) {
    if ((packet.flags & AV_PKT_FLAG_KEY) == 0) return false;
    skippedStream_ = kNone;
  }
  // Not every demuxer heeds `discard`, and some add streams while they read.
  return onlyStreams_.empty() || std::ranges::count(onlyStreams_, packet.stream_index) > 0;
}

// A generated presentation time is the decoding time of the next picture that isn't a B picture:
// all pictures would be shown one late. AVI, whose ticks are pictures, shows the first at time 0.
void Input::UndoGeneratedDelay(AVPacket& packet) const {
  if (!isAvi_) return;
  const AVCodecParameters& parameters = *format_->streams[packet.stream_index]->codecpar;
  const bool isGenerated =
      parameters.codec_type == AVMEDIA_TYPE_VIDEO && parameters.video_delay > 0;
  if (isGenerated) DelayPacket(packet, -1);
}

int Input::Read(AVPacket& packet) {
  for (;;) {
    av_packet_unref(&packet);
    const int result = av_read_frame(format_.get(), &packet);
    if (result == AVERROR(EAGAIN)) continue;
    if (result == AVERROR(EIO)) return AVERROR_EOF;
    if (result < 0) return result;
    if (!IsWanted(packet)) continue;
    UndoGeneratedDelay(packet);
    return 0;
  }
}

}  // namespace mpg
