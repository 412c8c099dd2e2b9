#include "remux/segment_join.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include "media/output.h"
#include "media/stream_copy.h"
#include "mpg/mpg.h"
#include "platform/platform.h"
#include "remux/segment_copy.h"

namespace mpg {
namespace {

// A segment that can't be opened is routine: the join may go on without it.
struct Opening {
  std::optional<Input> input;
  int error = 0;
};

Opening Open(const std::string& path) try {
  return {.input = Input(path.c_str())};
} catch (const Error& error) {
  return {.input = std::nullopt, .error = error.Code()};
}

template <class AddStream>
bool TryAdd(AddStream addStream, Output& output, const Input& input) try {
  addStream(output, input);
  return true;
} catch (const Error&) {
  return false;
}

void RequireNoEntry(const char* outputPath, const std::vector<std::string>& paths) {
  for (const std::string& path : paths) RequireOtherFile(outputPath, path.c_str());
}

class SegmentJoin {
 public:
  SegmentJoin(const SegmentList& list, const char* outputPath, Progress progress)
      : list_(list),
        progress_(progress),
        outputPath_(outputPath),
        output_(MuxerByName(SegmentMuxerName(outputPath)), outputPath, OnFailure::kDeleteFile) {}

  void Run() {
    output_.CreateFile();
    // The output may have come into being under the name of an entry that was missing so far.
    RequireNoEntry(outputPath_, list_.paths);
    ExpectSize();
    AddStreams();
    output_.WriteHeader();
    CopySegments();
    output_.Finish();
    if (list_.deleteSegments) DeleteCopiedSegments();
  }

 private:
  void ExpectSize() {
    std::uint64_t size = 0;
    for (const std::string& path : list_.paths) size += platform::FileSize(path.c_str());
    output_.ExpectSize(static_cast<std::int64_t>(size));
  }

  void AddStreams() {
    first_ = Open(list_.paths.front());
    const bool hasVideo = first_.input && TryAdd(AddCopiedVideoStream, output_, *first_.input);
    const bool hasAudio = first_.input && TryAdd(AddCopiedAudioStream, output_, *first_.input);
    if (!hasVideo && !hasAudio) throw Error(MPG_ERR_VIDEO_STREAM_NOT_FOUND);
  }

  // The join succeeds when the last segment that was there did.
  void CopySegments() {
    SegmentCopier copier(output_, list_.closeGaps);
    int result = AVERROR(ENOENT);
    for (std::size_t i = 0; i < list_.paths.size(); ++i) {
      if (platform::IsFile(list_.paths[i].c_str())) {
        result = CopySegment(copier, i);
        copied_.push_back(i);
      }
      if (Report(i + 1) == Answer::kStop) break;
    }
    Check(result);
    // Such as fragments without their initialisation: broken each for itself, but not worthless.
    if (!copier.HasCopied()) copied_.clear();
  }

  // 0, or the code of a failure that the join survives.
  int CopySegment(SegmentCopier& copier, std::size_t index) {
    const bool isFirst = index == 0;
    // Reading the stream information is most of the work: what the output's streams were made from
    // isn't opened anew.
    Opening segment = isFirst ? std::exchange(first_, {}) : Open(list_.paths[index]);
    const int result = segment.input ? copier.Copy(*segment.input, isFirst) : segment.error;
    const bool isLast = index + 1 == list_.paths.size();
    if (isLast) return 0;
    return result == AVERROR_EOF || result == AVERROR_INVALIDDATA ? result : Check(result);
  }

  Answer Report(std::size_t entries) {
    const std::int64_t percent = PercentOf(static_cast<std::int64_t>(entries),
                                           static_cast<std::int64_t>(list_.paths.size()));
    // Above it only on a negative scale.
    if (percent > Percent100()) return Answer::kGoOn;
    return progress_.Report(static_cast<std::int32_t>(percent));
  }

  void DeleteCopiedSegments() {
    for (const std::size_t index : copied_) platform::RemoveFile(list_.paths[index].c_str());
  }

  const SegmentList& list_;
  Progress progress_;
  const char* outputPath_;
  Output output_;
  Opening first_;
  std::vector<std::size_t> copied_;
};

}  // namespace

const char* SegmentMuxerName(const char* outputPath) {
  constexpr std::array<std::string_view, 5> kTransportStreams{"ts", "m4t", "m2t", "m2ts", "mts"};
  const std::string_view path = outputPath;
  const std::size_t dot = path.find_last_of("./\\");
  if (dot == std::string_view::npos || path[dot] != '.') return "mp4";
  const std::string extension(path.substr(dot + 1));
  const bool isTransportStream =
      std::ranges::any_of(kTransportStreams, [&extension](std::string_view name) {
        return av_strcasecmp(extension.c_str(), name.data()) == 0;
      });
  return isTransportStream ? "mpegts" : "mp4";
}

void JoinSegments(const SegmentList& list, const char* outputPath, Progress progress) {
  RequireNoEntry(outputPath, list.paths);
  SegmentJoin(list, outputPath, progress).Run();
}

}  // namespace mpg
