#include "media/input.h"

#include <algorithm>

#include "media/timestamps.h"

namespace mpg {

Input::Input(OpenedFile&& file, Analysis examined)
    : OpenedFile(std::move(file)), examined_(examined), frameTimes_(*Context()) {}

std::int64_t Input::StreamSize(const AVStream& stream) const {
  const std::int64_t whole = FileSize();
  if (Streams().size() == 1) return whole;
  constexpr int kBitsPerByte = 8;
  const std::int64_t bytesPerSecond = stream.codecpar->bit_rate / kBitsPerByte;
  if (bytesPerSecond <= 0 || !IsKnown(Duration())) return 0;
  return std::clamp<std::int64_t>(av_rescale(Duration(), bytesPerSecond, AV_TIME_BASE), 0, whole);
}

void Input::SelectStreams(std::initializer_list<int> streamIndexes) {
  onlyStreams_ = streamIndexes;
  for (AVStream* stream : Streams()) {
    stream->discard =
        std::ranges::count(onlyStreams_, stream->index) > 0 ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
  }
}

int Input::Seek(const AVStream& stream, std::int64_t timeStamp, int flags) {
  frameTimes_.Reset();
  readAhead_.clear();
  readResult_ = 0;
  return av_seek_frame(Context(), stream.index, timeStamp, flags);
}

int Input::Read(AVPacket& packet) {
  av_packet_unref(&packet);
  while (!frameTimes_.Take(packet)) {
    if (readResult_ < 0) return std::exchange(readResult_, 0);
    readResult_ = ReadWanted(packet);
    if (readResult_ < 0) {
      frameTimes_.End();
    } else if (!frameTimes_.Hold(packet)) {
      return 0;
    }
  }
  return 0;
}

int Input::ReadWanted(AVPacket& packet) {
  for (;;) {
    av_packet_unref(&packet);
    const int result = ReadNext(packet);
    if (result == AVERROR(EIO)) return AVERROR_EOF;
    if (result < 0 || IsWanted(packet)) return result;
  }
}

// Not every demuxer heeds `discard`, and some add streams while they read.
bool Input::IsWanted(const AVPacket& packet) const {
  return onlyStreams_.empty() || std::ranges::count(onlyStreams_, packet.stream_index) > 0;
}

int Input::ReadNext(AVPacket& packet) {
  if (readAhead_.empty()) return ReadAhead(packet);
  av_packet_move_ref(&packet, readAhead_.front().get());
  readAhead_.pop_front();
  return 0;
}

int Input::ReadAhead(AVPacket& packet) {
  for (;;) {
    const int result = av_read_frame(Context(), &packet);
    if (result != AVERROR(EAGAIN)) return result;
  }
}

}  // namespace mpg
