#include "media/input.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#include "media/timestamps.h"

namespace mpg {

namespace {

// Demuxers that open files by themselves, by the name they are given: numbered pictures, scripts.
bool OpensByName(const AVInputFormat& demuxer) {
  constexpr std::string_view kScripts[] = {"avisynth", "vapoursynth"};
  return (demuxer.flags & AVFMT_NOFILE) != 0 || std::ranges::count(kScripts, demuxer.name) > 0;
}

// By name and content; where the name leads to a demuxer that would do more than read the file, by
// its content alone.
const AVInputFormat* FindDemuxer(const FileIo& io, const char* path) {
  const AVInputFormat* demuxer = nullptr;
  Check(av_probe_input_buffer2(io.Context(), &demuxer, path, nullptr, 0, 0));
  if (!OpensByName(*demuxer)) return demuxer;
  demuxer = nullptr;
  Check(av_probe_input_buffer2(io.Context(), &demuxer, "", nullptr, 0, 0));
  if (OpensByName(*demuxer)) throw Error(AVERROR_INVALIDDATA);
  return demuxer;
}

// What follows from a failed reading may look like anything; the failure itself counts.
void CheckRead(int result, const FileIo& io) {
  Check(io.FirstError());
  Check(result);
  if (io.HasRefused()) throw Error(AVERROR_INVALIDDATA);
}

// What files say of colours goes into enumerations, whatever it is.
template <class Enumeration>
void Settle(Enumeration& value, int count, Enumeration unspecified) {
  int number = 0;
  std::memcpy(&number, &value, sizeof number);
  if (number < 0 || number >= count) value = unspecified;
}

void SettleColours(AVCodecParameters& parameters) {
  Settle(parameters.color_range, AVCOL_RANGE_NB, AVCOL_RANGE_UNSPECIFIED);
  Settle(parameters.color_primaries, AVCOL_PRI_NB, AVCOL_PRI_UNSPECIFIED);
  Settle(parameters.color_trc, AVCOL_TRC_NB, AVCOL_TRC_UNSPECIFIED);
  Settle(parameters.color_space, AVCOL_SPC_NB, AVCOL_SPC_UNSPECIFIED);
  Settle(parameters.chroma_location, AVCHROMA_LOC_NB, AVCHROMA_LOC_UNSPECIFIED);
}

// What avformat_find_stream_info hands to the decoders of the streams that there are.
class StreamOptions {
 public:
  explicit StreamOptions(std::span<AVStream* const> streams) : options_(streams.size()) {}
  StreamOptions(const StreamOptions&) = delete;
  StreamOptions& operator=(const StreamOptions&) = delete;
  ~StreamOptions() {
    for (AVDictionary*& option : options_) av_dict_free(&option);
  }

  void Set(const AVStream& stream, const char* name, const char* value) {
    Check(av_dict_set(&options_[static_cast<std::size_t>(stream.index)], name, value, 0));
  }
  AVDictionary** Get() { return options_.data(); }

 private:
  std::vector<AVDictionary*> options_;
};

}  // namespace

OpenedFile::OpenedFile(const char* path, std::span<const std::uint8_t> prefix) {
  platform::File input;
  Check(input.Open(path, platform::Access::kRead));
  io_ = std::make_unique<FileIo>(std::move(input), FileIo::Direction::kRead, prefix);
  const AVInputFormat* const demuxer = FindDemuxer(*io_, path);
  InputContextPtr context(CheckAllocated(avformat_alloc_context()));
  io_->Serve(*context);
  // FFmpeg frees it where it fails.
  AVFormatContext* opened = context.release();
  const int result = avformat_open_input(&opened, path, demuxer, nullptr);
  format_.reset(opened);
  CheckRead(result, *io_);
}

Input::Input(Unexamined, OpenedFile&& file)
    : io_(std::move(file.io_)), format_(std::move(file.format_)), frameTimes_(*format_) {}

bool Input::Examine(AVDictionary** options) {
  const int result = avformat_find_stream_info(format_.get(), options);
  return result >= 0 && io_->FirstError() == 0 && !io_->HasRefused();
}

Input::Input(OpenedFile&& file) : Input(Unexamined{}, std::move(file)) {
  CheckRead(avformat_find_stream_info(format_.get(), nullptr), *io_);
  for (AVStream* const stream : Streams()) SettleColours(*stream->codecpar);
}

std::optional<Input> Input::WithoutDecoding(OpenedFile&& file) {
  Input input(Unexamined{}, std::move(file));
  StreamOptions options(input.Streams());
  std::vector<AVStream*> formatless;
  for (AVStream* const stream : input.Streams()) {
    AVCodecParameters& parameters = *stream->codecpar;
    if (parameters.codec_id != AV_CODEC_ID_H264) continue;
    options.Set(*stream, "skip_frame", "all");
    if (parameters.format != AV_PIX_FMT_NONE) continue;
    // Any will do: FFmpeg reads on for as long as it has none.
    parameters.format = AV_PIX_FMT_YUV420P;
    formatless.push_back(stream);
  }
  if (!input.Examine(options.Get())) return std::nullopt;
  for (AVStream* const stream : formatless) stream->codecpar->format = AV_PIX_FMT_NONE;
  for (AVStream* const stream : input.Streams()) SettleColours(*stream->codecpar);
  input.analysis_ = Analysis::kWithoutDecoding;
  return input;
}

std::optional<Input> Input::AsKnown(OpenedFile&& file, std::span<const KnownStream> known) {
  // More than any stream has: FFmpeg doesn't guess any more.
  constexpr int kNoDelayOfAnyStream = 17;
  Input input(Unexamined{}, std::move(file));
  for (std::size_t i = 0; i < known.size(); ++i) {
    AVStream& stream = *input.Streams()[i];
    Check(avcodec_parameters_copy(stream.codecpar, known[i].examined.get()));
    if (stream.codecpar->codec_type != AVMEDIA_TYPE_VIDEO) continue;
    stream.codecpar->video_delay = kNoDelayOfAnyStream;
    stream.r_frame_rate = av_inv_q(stream.time_base);
  }
  // With this FFmpeg sets up its parsers from the parameters and reads nothing.
  const std::int64_t size = std::exchange(input.format_->probesize, 0);
  const bool isWell = input.Examine(nullptr);
  input.format_->probesize = size;
  if (!isWell) return std::nullopt;
  input.analysis_ = Analysis::kAsKnown;
  return input;
}

bool Input::ReadAhead(const std::function<bool(const AVPacket&)>& isWell) {
  for (;;) {
    PacketPtr packet = MakePacket();
    const int result = av_read_frame(format_.get(), packet.get());
    if (result == AVERROR_EOF) break;
    if (result < 0 || !isWell(*packet)) return false;
    readAhead_.push_back(std::move(packet));
  }
  return io_->FirstError() == 0 && !io_->HasRefused();
}

const AVPacket* Input::ReadAheadOne() {
  PacketPtr packet = MakePacket();
  if (av_read_frame(format_.get(), packet.get()) < 0) return nullptr;
  readAhead_.push_back(std::move(packet));
  return readAhead_.back().get();
}

void Input::TakeOver(std::span<const KnownStream> known) {
  for (std::size_t i = 0; i < known.size(); ++i) {
    Check(avcodec_parameters_copy(Streams()[i]->codecpar, known[i].examined.get()));
    SettleColours(*Streams()[i]->codecpar);
  }
}

std::int64_t OpenedFile::FileSize() const {
  return std::max<std::int64_t>(avio_size(format_->pb), 0);
}

bool OpenedFile::IsContainer(const char* name) const {
  return av_match_name(name, format_->iformat->name) != 0;
}

bool Input::IsContainer(const char* name) const {
  return av_match_name(name, format_->iformat->name) != 0;
}

std::int64_t Input::FileSize() const {
  return std::max<std::int64_t>(avio_size(format_->pb), 0);
}

std::int64_t Input::StreamSize(const AVStream& stream) const {
  const std::int64_t whole = FileSize();
  if (format_->nb_streams == 1) return whole;
  constexpr int kBitsPerByte = 8;
  const std::int64_t bytesPerSecond = stream.codecpar->bit_rate / kBitsPerByte;
  if (bytesPerSecond <= 0 || !IsKnown(format_->duration)) return 0;
  return std::clamp<std::int64_t>(av_rescale(format_->duration, bytesPerSecond, AV_TIME_BASE), 0,
                                  whole);
}

void Input::SelectStreams(std::initializer_list<int> streamIndexes) {
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

int Input::ReadNext(AVPacket& packet) {
  if (readAhead_.empty()) return av_read_frame(format_.get(), &packet);
  av_packet_move_ref(&packet, readAhead_.front().get());
  readAhead_.pop_front();
  return 0;
}

int Input::ReadWanted(AVPacket& packet) {
  for (;;) {
    av_packet_unref(&packet);
    const int result = ReadNext(packet);
    if (result == AVERROR(EAGAIN)) continue;
    if (result == AVERROR(EIO)) return AVERROR_EOF;
    if (result < 0 || IsWanted(packet)) return result;
  }
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

int Input::Seek(const AVStream& stream, std::int64_t timeStamp, int flags) {
  frameTimes_.Reset();
  readAhead_.clear();
  readResult_ = 0;
  return av_seek_frame(format_.get(), stream.index, timeStamp, flags);
}

}  // namespace mpg
