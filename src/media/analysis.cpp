#include "media/analysis.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "media/h264_description.h"
#include "media/known_packets.h"

namespace mpg {
namespace {

// What is read ahead stays in memory for as long as one file is copied.
constexpr std::int64_t kLargestFile = 32 << 20;

// Whose packets follow from their headers and the parameters alone.
bool IsAudioRead(AVCodecID codecId) {
  constexpr AVCodecID kCodecs[] = {AV_CODEC_ID_AAC, AV_CODEC_ID_MP2, AV_CODEC_ID_MP3,
                                   AV_CODEC_ID_AC3, AV_CODEC_ID_EAC3};
  return std::ranges::count(kCodecs, codecId) > 0;
}

bool IsFullyKnown(const AVCodecParameters& parameters) {
  switch (parameters.codec_type) {
    case AVMEDIA_TYPE_VIDEO:
      return FrameHeads::Exist(parameters.codec_id) && parameters.extradata_size > 0 &&
             parameters.width > 0 && parameters.format != AV_PIX_FMT_NONE;
    case AVMEDIA_TYPE_AUDIO:
      // Its audio may lie behind what is examined, unlike that of the next file.
      return IsAudioRead(parameters.codec_id) && parameters.sample_rate > 0;
    default:
      return parameters.codec_type == AVMEDIA_TYPE_DATA;
  }
}

bool MayBeRepeated(std::span<const KnownStream> known) {
  const auto isOf = [](AVMediaType type) {
    return [type](const KnownStream& stream) { return stream.examined->codec_type == type; };
  };
  return std::ranges::count_if(known, isOf(AVMEDIA_TYPE_VIDEO)) <= 1 &&
         std::ranges::count_if(known, isOf(AVMEDIA_TYPE_AUDIO)) <= 1 &&
         std::ranges::all_of(
             known, [](const KnownStream& stream) { return IsFullyKnown(*stream.examined); });
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

// Whether FFmpeg could.
bool Examine(const OpenedFile& file, AVDictionary** options) try {
  file.CheckResult(avformat_find_stream_info(file.Context(), options));
  return true;
} catch (const Error&) {
  return false;
}

Input ExamineWhole(OpenedFile&& file) {
  file.CheckResult(avformat_find_stream_info(file.Context(), nullptr));
  for (AVStream* const stream : file.Streams()) SettleColours(*stream->codecpar);
  return {std::move(file), Analysis::kWhole};
}

// Without decoding a frame of H.264; nothing when FFmpeg couldn't. What the decoder tells is
// missing.
std::optional<Input> ExamineWithoutDecoding(OpenedFile&& file) {
  StreamOptions options(file.Streams());
  std::vector<AVStream*> formatless;
  for (AVStream* const stream : file.Streams()) {
    AVCodecParameters& parameters = *stream->codecpar;
    if (parameters.codec_id != AV_CODEC_ID_H264) continue;
    options.Set(*stream, "skip_frame", "all");
    if (parameters.format != AV_PIX_FMT_NONE) continue;
    // Any will do: FFmpeg reads on for as long as it has none.
    parameters.format = AV_PIX_FMT_YUV420P;
    formatless.push_back(stream);
  }
  if (!Examine(file, options.Get())) return std::nullopt;
  for (AVStream* const stream : formatless) stream->codecpar->format = AV_PIX_FMT_NONE;
  for (AVStream* const stream : file.Streams()) SettleColours(*stream->codecpar);
  return Input(std::move(file), Analysis::kWithoutDecoding);
}

// Examines nothing, but takes the streams, those that the header tells, for an earlier file's.
// Nothing when FFmpeg couldn't. Video packets have the times that stand in the file, none that
// FFmpeg makes of them.
std::optional<Input> TakeForKnown(OpenedFile&& file, std::span<const KnownStream> known) {
  // More than any stream has: FFmpeg doesn't guess any more.
  constexpr int kNoDelayOfAnyStream = 17;
  for (std::size_t i = 0; i < known.size(); ++i) {
    AVStream& stream = *file.Streams()[i];
    Check(avcodec_parameters_copy(stream.codecpar, known[i].examined.get()));
    if (stream.codecpar->codec_type != AVMEDIA_TYPE_VIDEO) continue;
    stream.codecpar->video_delay = kNoDelayOfAnyStream;
    stream.r_frame_rate = av_inv_q(stream.time_base);
  }
  // With this FFmpeg sets up its parsers from the parameters and reads nothing.
  const std::int64_t size = std::exchange(file.Context()->probesize, 0);
  const bool isWell = Examine(file, nullptr);
  file.Context()->probesize = size;
  if (!isWell) return std::nullopt;
  return Input(std::move(file), Analysis::kAsKnown);
}

// Reads the whole file into memory. False where a packet may be another after an examination, or
// reading fails.
bool ReadAllAhead(Input& input, std::span<const KnownStream> known) {
  KnownPackets packets(input, known);
  int result = 0;
  for (;;) {
    PacketPtr packet = MakePacket();
    result = input.ReadAhead(*packet);
    if (result < 0) break;
    if (!packets.Hold(*packet)) return false;
    input.PutBack(std::move(packet));
  }
  return result == AVERROR_EOF && input.FileError() == 0 && packets.AreComplete();
}

// Gives the streams an earlier file's parameters, once the packets were read.
void TakeOver(const Input& input, std::span<const KnownStream> known) {
  for (std::size_t i = 0; i < known.size(); ++i) {
    AVCodecParameters& parameters = *input.Streams()[i]->codecpar;
    Check(avcodec_parameters_copy(&parameters, known[i].examined.get()));
    SettleColours(parameters);
  }
}

}  // namespace

Input OpenInput(const char* path, Analysis analysis) {
  return OpenInput(OpenedFile(path), path, analysis);
}

Input OpenInput(OpenedFile&& file, const char* path, Analysis analysis) {
  if (analysis == Analysis::kWhole || !file.IsContainer("mp4"))
    return ExamineWhole(std::move(file));
  std::optional<Input> input = ExamineWithoutDecoding(std::move(file));
  if (input && DescribeH264Streams(*input)) return std::move(*input);
  return ExamineWhole(OpenedFile(path));
}

Input AlikeFiles::Open(const char* path, Analysis analysis, std::span<const std::uint8_t> prefix) {
  OpenedFile file(path, prefix);
  if (most_ == Analysis::kAsKnown && analysis == Analysis::kAsKnown && MayBeKnown(file)) {
    std::optional<Input> input = OpenAsKnown(std::move(file));
    failures_ = input ? 0 : failures_ + 1;
    if (input) return std::move(*input);
    file = OpenedFile(path, prefix);
  }
  return OpenWhole(std::move(file));
}

bool AlikeFiles::MayBeKnown(const OpenedFile& file) const {
  // Files that differ in a way that recurs aren't worth a second opening each.
  constexpr int kMostFailures = 3;
  if (known_.empty() || failures_ >= kMostFailures || !file.IsContainer("mpegts")) return false;
  if (file.FileSize() > kLargestFile) return false;
  return std::ranges::equal(file.Streams(), known_,
                            [](const AVStream* stream, const KnownStream& known) {
                              return stream->codecpar->codec_id == known.opened->codec_id &&
                                     stream->codecpar->codec_tag == known.opened->codec_tag;
                            });
}

std::optional<Input> AlikeFiles::OpenAsKnown(OpenedFile&& file) {
  std::optional<Input> input = TakeForKnown(std::move(file), known_);
  if (!input || !ReadAllAhead(*input, known_)) return std::nullopt;
  TakeOver(*input, known_);
  return input;
}

Input AlikeFiles::OpenWhole(OpenedFile&& file) {
  std::vector<KnownStream> known;
  for (const AVStream* const stream : file.Streams()) {
    known.push_back({.opened = CopyParameters(*stream->codecpar), .examined = nullptr});
  }
  Input input = ExamineWhole(std::move(file));
  const bool hasLaterStreams = input.Streams().size() != known.size();
  if (most_ != Analysis::kAsKnown || !input.IsContainer("mpegts") || hasLaterStreams) return input;
  for (const AVStream* const stream : input.Streams()) {
    known[static_cast<std::size_t>(stream->index)].examined = CopyParameters(*stream->codecpar);
  }
  if (MayBeRepeated(known)) known_ = std::move(known);
  return input;
}

}  // namespace mpg
