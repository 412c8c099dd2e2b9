#include "remux/segment_join.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

#include "media/output.h"
#include "media/stream_copy.h"
#include "media/stream_finder.h"
#include "mpg/mpg.h"
#include "platform/platform.h"
#include "remux/mp4_initialisation.h"
#include "remux/segment_copy.h"

namespace mpg {
namespace {

// A segment that can't be opened is routine: the join may go on without it.
struct Opening {
  std::vector<std::uint8_t> initialisation = {};  // read in front; the input needs it
  std::optional<Input> input = {};
  int error = 0;
};

Opening Open(AlikeFiles& files, const std::string& path, Analysis analysis,
             std::vector<std::uint8_t> initialisation = {}) try {
  Opening opening{.initialisation = std::move(initialisation)};
  opening.input.emplace(files.Open(path.c_str(), analysis, opening.initialisation));
  return opening;
} catch (const Error& error) {
  return {.error = error.Code()};
}

CopiedStream AddVideo(Output& output, const Input& input) {
  return AddCopiedVideoStream(output, RequireVideoStream(input));
}

// False when the segment has no such stream or FFmpeg doesn't know its codec.
template <class AddStream>
bool TryAdd(AddStream addStream, Output& output, const Input& input) try {
  addStream(output, input);
  return true;
} catch (const Error& error) {
  const int code = error.Code();
  const bool isRoutine = code == MPG_ERR_VIDEO_STREAM_NOT_FOUND ||
                         code == MPG_ERR_AUDIO_STREAM_NOT_FOUND || code == AVERROR_UNKNOWN;
  if (!isRoutine) throw;
  return false;
}

// Later segments may bring other parameter sets between their frames: with this tag MP4 keeps
// them there.
void KeepParameterSets(AVCodecParameters& parameters) {
  const bool hasStartCodes = parameters.extradata_size > 0 && parameters.extradata[0] != 1;
  if (parameters.codec_id == AV_CODEC_ID_HEVC && hasStartCodes) {
    parameters.codec_tag = MKTAG('h', 'e', 'v', '1');
  }
}

class SegmentJoin {
 public:
  SegmentJoin(const SegmentList& list, const char* outputPath, Progress progress)
      : list_(list),
        progress_(progress),
        outputPath_(outputPath),
        files_(list.analysis),
        output_(MuxerByName(SegmentMuxerName(outputPath)), outputPath, OnFailure::kDeleteFile) {}

  void Run() {
    output_.CreateFile();
    // The output may have come into being under the name of an entry that was missing so far.
    for (const std::string& path : list_.paths) RequireOtherFile(outputPath_, path.c_str());
    ExpectSize();
    AddStreams();
    output_.WriteHeader();
    CopySegments();
    output_.Finish(failures_);
    // A packet that was refused may be anyone's.
    if (list_.deleteSegments && failures_.Number() == 0) DeleteCopiedSegments();
  }

 private:
  void ExpectSize() {
    std::uint64_t size = 0;
    for (const std::string& path : list_.paths) size += platform::FileSize(path.c_str());
    output_.ExpectSize(static_cast<std::int64_t>(size));
  }

  void AddStreams() {
    first_ = Open(files_, list_.paths.front(), Analysis::kWhole);
    const bool isNoSegment = first_.error == AVERROR(ENOENT) || first_.error == AVERROR_INVALIDDATA;
    if (!isNoSegment) Check(first_.error);
    const bool hasVideo = first_.input && TryAdd(AddVideo, output_, *first_.input);
    const bool hasAudio = first_.input && TryAdd(AddCopiedAudioStream, output_, *first_.input);
    if (!hasVideo && !hasAudio) throw Error(MPG_ERR_VIDEO_STREAM_NOT_FOUND);
    if (hasVideo) KeepParameterSets(*output_.Context()->streams[0]->codecpar);
  }

  // The join succeeds when the last segment that was there did.
  void CopySegments() {
    SegmentCopier copier(output_, list_.closeGaps, failures_);
    int result = AVERROR(ENOENT);
    bool isStopped = false;
    for (std::size_t i = 0; i < list_.paths.size() && !isStopped; ++i) {
      if (platform::IsFile(list_.paths[i].c_str())) result = CopySegment(copier, i);
      isStopped = Report(i + 1) == Answer::kStop;
    }
    if (unexamined_) TakeOverParameters(copier, list_.paths[*unexamined_]);
    Check(result);
    if (packets_ == 0 && !isStopped) throw Error(AVERROR_INVALIDDATA);
  }

  // The output ends with those of the last segment.
  void TakeOverParameters(SegmentCopier& copier, const std::string& path) {
    const Opening segment = Open(files_, path, Analysis::kWhole);
    if (segment.input) copier.TakeOverParameters(*segment.input);
  }

  // 0, or the code of a failure that the join survives.
  int CopySegment(SegmentCopier& copier, std::size_t index) {
    // Reading the stream information is most of the work: what the output's streams were made from
    // isn't opened anew.
    Opening segment = index == 0 ? std::exchange(first_, {}) : OpenEntry(index);
    SegmentResult result = {.code = segment.error};
    if (segment.input) {
      result = copier.Copy(*segment.input);
      unexamined_ =
          segment.input->Examined() == Analysis::kAsKnown ? std::optional(index) : std::nullopt;
    }
    packets_ += result.packets;
    const bool isWhole = result.code == 0 && result.isComplete;
    if (isWhole && result.packets > 0) {
      copied_.emplace(index, list_.paths[index]);
      // An initialisation alone is in the output with the first fragment behind it.
      if (!segment.initialisation.empty() && isInitialisationAlone_) {
        copied_.emplace(initialised_, list_.paths[initialised_]);
      }
    }
    if (segment.initialisation.empty() && segment.input) {
      initialised_ = index;
      isInitialisationAlone_ = isWhole && result.packets == 0;
    }
    const bool isLast = index + 1 == list_.paths.size();
    if (isLast) return 0;
    const bool isPassed = result.code == AVERROR_EOF || result.code == AVERROR_INVALIDDATA;
    return isPassed ? result.code : Check(result.code);
  }

  // A fragment is read behind the last initialisation that the list brought: its own file's, as
  // sites serve them.
  Opening OpenEntry(std::size_t index) {
    const std::string& path = list_.paths[index];
    // Its own parameters are needed.
    const bool isLast = index + 1 == list_.paths.size();
    const Analysis analysis = isLast ? Analysis::kWhole : Analysis::kAsKnown;
    Opening segment = Open(files_, path, analysis);
    if (segment.error == AVERROR_INVALIDDATA && LacksInitialisation(path.c_str())) {
      std::vector<std::uint8_t> initialisation =
          ReadInitialisation(list_.paths[initialised_].c_str());
      if (!initialisation.empty()) return Open(files_, path, analysis, std::move(initialisation));
    }
    return segment;
  }

  Answer Report(std::size_t entries) {
    const std::int32_t percent = PercentOf(static_cast<std::int64_t>(entries),
                                           static_cast<std::int64_t>(list_.paths.size()));
    // Above it only on a negative scale.
    if (percent > Percent100()) return Answer::kGoOn;
    return progress_.Report(percent);
  }

  void DeleteCopiedSegments() {
    for (const auto& [index, path] : copied_) platform::RemoveFile(path);
  }

  const SegmentList& list_;
  Progress progress_;
  const char* outputPath_;
  AlikeFiles files_;
  Output output_;
  WriteFailures failures_{WriteFailures::kOfAJoin};
  Opening first_;
  std::int64_t packets_ = 0;                      // that the output was given
  std::map<std::size_t, platform::Path> copied_;  // entries of which nothing was left out
  std::optional<std::size_t> unexamined_;         // the last segment, where it is
  std::size_t initialised_ = 0;                   // the last entry that could be opened by itself
  bool isInitialisationAlone_ = false;
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
  SegmentJoin(list, outputPath, progress).Run();
}

}  // namespace mpg
