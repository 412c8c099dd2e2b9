#include "remux/flv_duration.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "media/analysis.h"
#include "media/codec.h"
#include "media/output.h"
#include "media/stream_copy.h"
#include "media/stream_finder.h"
#include "mpg/mpg.h"
#include "platform/platform.h"
#include "remux/flv_tags.h"

namespace mpg {
namespace {

using Buffer = std::vector<std::uint8_t>;

// A name beside a file; nothing stands there when the repair is over.
class TemporaryName {
 public:
  explicit TemporaryName(const char* path) : name_(std::string(path) + ".tmp"), path_(name_) {}
  TemporaryName(const TemporaryName&) = delete;
  TemporaryName& operator=(const TemporaryName&) = delete;
  ~TemporaryName() { Remove(); }
  const char* Get() const { return name_.c_str(); }
  void Remove() const { platform::RemoveFile(path_); }

 private:
  std::string name_;
  platform::Path path_;
};

void RequireDecodableAudio(const Input& input) {
  const int index = FindAudioStream(input.Context());
  if (index < 0) throw Error(MPG_ERR_AUDIO_STREAM_NOT_FOUND);
  const AVCodecParameters& parameters = *input.Streams()[static_cast<std::size_t>(index)]->codecpar;
  if (avcodec_find_decoder(parameters.codec_id) == nullptr) throw Error(AVERROR_EXIT);
  OpenDecoder(parameters);
}

void RequireFlv(const Input& input) {
  // A duration guessed from the bit rate may be far off.
  const AVFormatContext& format = *input.Context();
  const bool isKnown =
      format.duration > 0 && format.duration_estimation_method != AVFMT_DURATION_FROM_BITRATE;
  if (std::string_view(format.iformat->name) != "flv" || !isKnown) throw Error(AVERROR_INVALIDDATA);
}

template <class Step>
auto ExitOnFailure(Step step) try {
  return step();
} catch (const Error&) {
  throw Error(AVERROR_EXIT);
}

// The muxer writes each entry as two lengths of two bytes, a type, the name and the text.
constexpr std::size_t kEntryFrame = 5;
constexpr std::size_t kLeastPadding = kEntryFrame + 1;

// Metadata that takes exactly that many bytes of the header, at least kLeastPadding.
void AddPadding(AVDictionary*& metadata, std::size_t bytes) {
  constexpr std::string_view kName = "padding";
  constexpr std::size_t kLongestEntry = 1000;  // FFmpeg reads texts of up to 1023 bytes
  for (int number = 0; bytes > 0; ++number) {
    std::size_t entry = std::min(bytes, kLongestEntry);
    if (bytes - entry > 0 && bytes - entry < kLongestEntry) entry = bytes / 2;
    // Numbers tell them apart; only one that stands alone may have to be cut.
    std::string name(number == 0 ? kName : std::string(kName) + std::to_string(number));
    name.resize(std::min(name.size(), entry - kEntryFrame));
    const std::string text(entry - kEntryFrame - name.size(), ' ');
    Check(av_dict_set(&metadata, name.c_str(), text.c_str(), 0));
    bytes -= entry;
  }
}

enum class MuxerEntry { kLeftOut, kWritten };

platform::File Open(const platform::Path& path, platform::Access access) {
  platform::File file;
  Check(file.Open(path, access));
  return file;
}

Buffer ReadWhole(const char* path) {
  platform::File file = Open(path, platform::Access::kRead);
  const std::int64_t size = file.Size();
  if (size <= 0) throw Error(size < 0 ? static_cast<int>(size) : AVERROR(EIO));
  Buffer bytes(static_cast<std::size_t>(size));
  Check(file.ReadAt(0, bytes));
  return bytes;
}

// What the muxer writes in front of the first packet.
Buffer MakeHeader(const Input& input, const TemporaryName& temporary, MuxerEntry muxerEntry,
                  std::size_t padding) {
  Output output = ExitOnFailure(
      [&] { return Output(MuxerByName("flv"), temporary.Get(), OnFailure::kDeleteFile); });
  AVFormatContext& format = *output.Context();
  AddCopiedAudioStream(output, input);
  AVStream* const video = FindFirstStream(input.Context(), AVMEDIA_TYPE_VIDEO);
  if (video != nullptr) AddCopiedVideoStream(output, *video);
  format.duration = input.Duration();
  if (muxerEntry == MuxerEntry::kLeftOut) format.flags |= AVFMT_FLAG_BITEXACT;
  if (padding > 0) AddPadding(format.metadata, padding);
  // A link that stands there would lead the muxer to another file.
  temporary.Remove();
  ExitOnFailure([&] { output.CreateFile(); });
  output.WriteHeader();
  output.CloseUnfinished();
  return ReadWhole(temporary.Get());
}

Buffer MakeHeaderOfSize(const Input& input, const TemporaryName& temporary, std::size_t size) {
  for (const MuxerEntry muxerEntry : {MuxerEntry::kWritten, MuxerEntry::kLeftOut}) {
    Buffer header = MakeHeader(input, temporary, muxerEntry, 0);
    if (header.size() + kLeastPadding <= size) {
      header = MakeHeader(input, temporary, muxerEntry, size - header.size());
    }
    if (header.size() == size) return header;
  }
  throw Error(AVERROR_INVALIDDATA);
}

}  // namespace

void RepairFlvDuration(const char* path) {
  const TemporaryName temporary(path);
  Buffer header;
  {
    const Input input = OpenInput(path);
    RequireDecodableAudio(input);
    if (input.Duration() == 0) return;
    RequireFlv(input);
    platform::File file = Open(path, platform::Access::kRead);
    const std::optional<std::int64_t> mediaStart = FindFlvMediaStart(file);
    if (!mediaStart) throw Error(AVERROR_INVALIDDATA);
    header = MakeHeaderOfSize(input, temporary, static_cast<std::size_t>(*mediaStart));
  }
  ReplaceFileStart(path, header);
}

void ReplaceFileStart(const char* name, std::span<const std::uint8_t> bytes) {
  // Everything that takes memory comes before the file is touched.
  const platform::Path path = name;
  Buffer original(bytes.size());
  Check(Open(path, platform::Access::kRead).ReadAt(0, original));
  platform::File file = Open(path, platform::Access::kUpdate);
  const int written = file.Write(bytes);
  const int closed = file.Close();
  if (written == 0 && closed == 0) return;
  if (file.Open(path, platform::Access::kUpdate) == 0) static_cast<void>(file.Write(original));
  Check(written);
  Check(closed);
}

}  // namespace mpg
