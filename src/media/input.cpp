#include "media/input.h"

#include <algorithm>
#include <utility>

namespace mpg {

OpenedFile::OpenedFile(const char* path) {
  AVFormatContext* context = nullptr;
  Check(avformat_open_input(&context, path, nullptr, nullptr));
  format_.reset(context);
}

Input::Input(OpenedFile&& file) : format_(std::move(file.format_)) {
  Check(avformat_find_stream_info(format_.get(), nullptr));
  // AVI and MPEG program streams leave out the presentation times of all but B pictures; they
  // follow from the decoding times of the pictures behind.
  format_->flags |= AVFMT_FLAG_GENPTS;
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

int Input::Read(AVPacket& packet) {
  for (;;) {
    av_packet_unref(&packet);
    const int result = av_read_frame(format_.get(), &packet);
    if (result == AVERROR(EAGAIN)) continue;
    if (result == AVERROR(EIO)) return AVERROR_EOF;
    if (result < 0) return result;
    // Not every demuxer heeds `discard`, and some add streams while they read.
    if (onlyStreams_.empty()) return 0;
    if (std::ranges::count(onlyStreams_, packet.stream_index) > 0) return 0;
  }
}

}  // namespace mpg
