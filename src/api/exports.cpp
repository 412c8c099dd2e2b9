// The exported functions: each checks its arguments, runs one worker and turns the outcome into its
// result.
#include <cstddef>
#include <cstring>
#include <span>
#include <string>

#include "api/error_text.h"
#include "api/guard.h"
#include "core/progress.h"
#include "core/text.h"
#include "image/frame_grab.h"
#include "media/analysis.h"
#include "media/stream_finder.h"
#include "mpg/mpg.h"
#include "probe/media_info.h"
#include "probe/merge_decision.h"
#include "probe/output_formats.h"
#include "remux/av_join.h"
#include "remux/flv_duration.h"
#include "remux/segment_join.h"
#include "transcode/audio_shift.h"
#include "transcode/crop.h"
#include "transcode/mp3_convert.h"
#include "transcode/transcode.h"
#include "transcode/trim.h"

using namespace mpg;

namespace {

std::string ToString(const HostString& string) {
  constexpr uint64_t kCapacityInside = 16;
  const bool isInside = string.capacity < kCapacityInside;
  const char* const characters = isInside ? string.characters.text : string.characters.pointer;
  RequireArguments(characters);
  if (string.length > string.capacity) throw Error(MPG_ERR_INVALID_PARAMETER);
  return {characters, static_cast<std::size_t>(string.length)};
}

}  // namespace

void MPG_SetPercent100(uint32_t value) noexcept {
  SetPercent100(static_cast<int32_t>(value));
}

const char* MPG_GetErrorText(int32_t code) noexcept {
  return ErrorText(code);
}

void MPG_TestParams(void) noexcept {}

uint32_t MPG_IsThisGoodFile(const char* path) noexcept {
  return ValueOf([&] { return path != nullptr && IsReadableMedia(path); });
}

uint8_t MPG_GetMediaInfo(const char* path, MediaInfo* info) noexcept {
  if (path == nullptr || info == nullptr) return 0;
  // Its padding, too: hosts compare and hash records.
  std::memset(info, 0, sizeof *info);
  return ValueOf([&] { return ProbeMediaInfo(path, *info); });
}

int32_t MPG_GetAudioDuration(const char* path) noexcept {
  if (path == nullptr) return 0;
  return static_cast<int32_t>(ValueOf([&] { return ProbeAudioDuration(path); }));
}

int32_t MPG_MergeOP(const char* videoPath, const char* audioPath,
                    MergeDecisionPrefix* decision) noexcept {
  return ResultOf([&] {
    RequireArguments(videoPath, audioPath, decision);
    *decision = ProbeMerge(videoPath, audioPath, DecideMergeByOlderRules);
  });
}

int32_t MPG_MergeOP2(const char* videoPath, const char* audioPath,
                     MergeDecision* decision) noexcept {
  return ResultOf([&] {
    RequireArguments(videoPath, audioPath, decision);
    *decision = ProbeMerge(videoPath, audioPath, DecideMerge);
  });
}

void MPG_GetDefExtension(const char* path, char* buffer, int32_t size) noexcept {
  if (buffer == nullptr || size <= 0) return;
  const std::span<char> text(buffer, static_cast<std::size_t>(size));
  CopyText(text, {});
  // Without an answer it stays empty.
  static_cast<void>(ResultOf([&] {
    RequireArguments(path);
    const Input input = OpenInput(path, Analysis::kWithoutDecoding);
    const MergeDecision decision = DecideMerge(ProbeCodecId(input, AVMEDIA_TYPE_AUDIO),
                                               ProbeCodecId(input, AVMEDIA_TYPE_VIDEO));
    CopyWholeText(text, decision.extension);
  }));
}

const char* MPG_GetDefExt(OutputFormatId formatId) noexcept {
  const OutputFormat* const format = FindOutputFormat(formatId);
  return format == nullptr ? "mp4" : format->extension;
}

int32_t MPG_MergeAV(const char* videoPath, const char* audioPath, const char* outputPath,
                    ProgressCallback callback, uint64_t context) noexcept {
  return ResultOf([&] {
    RequireFiles(outputPath, videoPath, audioPath);
    JoinVideoAndAudio(videoPath, audioPath, outputPath, Progress(callback, context));
  });
}

int32_t MPG_Merge(const char* const* segmentPaths, const char* outputPath, uint8_t deleteSegments,
                  uint8_t closeGaps, ProgressCallback callback, uint64_t context) noexcept {
  return ResultOf([&] {
    RequireArguments(segmentPaths);
    SegmentList list{
        .paths = {}, .closeGaps = closeGaps != 0, .deleteSegments = deleteSegments != 0};
    for (; *segmentPaths != nullptr; ++segmentPaths) list.paths.emplace_back(*segmentPaths);
    // Nothing to join, or nowhere to: not a failure.
    if (list.paths.empty() || outputPath == nullptr) return;
    for (const std::string& path : list.paths) RequireFiles(outputPath, path.c_str());
    JoinSegments(list, outputPath, Progress(callback, context));
  });
}

int32_t FLV_FixDuration(const char* path) noexcept {
  return ResultOf([&] {
    RequireArguments(path);
    RepairFlvDuration(path);
  });
}

int32_t MP3_Convert(const char* inputPath, const char* outputPath, int32_t requestedBitRate,
                    ProgressCallback callback, uint64_t context) noexcept {
  return ResultOf([&] {
    RequireFiles(outputPath, inputPath);
    ConvertToMp3(inputPath, outputPath, requestedBitRate, Progress(callback, context));
  });
}

int32_t MPG_Transcode(const HostString* inputPath, const HostString* outputPath,
                      const TranscodeParams* params, ProgressCallback callback,
                      uint64_t context) noexcept {
  return ResultOf([&] {
    RequireArguments(inputPath, outputPath, params);
    const std::string input = ToString(*inputPath);
    const std::string output = ToString(*outputPath);
    RequireFiles(output.c_str(), input.c_str());
    TranscodeFile(input, output, *params, Progress(callback, context));
  });
}

int32_t MPG_SaveTrimmedVideo(const char* inputPath, const char* outputPath, uint32_t startSecond,
                             uint32_t endSecond) noexcept {
  return ResultOf([&] {
    RequireFiles(outputPath, inputPath);
    TrimVideo(inputPath, outputPath, startSecond, endSecond);
  });
}

int32_t MPG_Crop(const char* inputPath, const char* outputPath) noexcept {
  return ResultOf([&] {
    RequireFiles(outputPath, inputPath);
    CropVideo(inputPath, outputPath);
  });
}

int32_t MPG_ShiftAudio(const char* inputPath, const char* outputPath, int32_t shiftMilliseconds,
                       ProgressCallback callback, uint64_t context) noexcept {
  return ResultOf([&] {
    RequireFiles(outputPath, inputPath);
    ShiftAudio(inputPath, outputPath, shiftMilliseconds, Progress(callback, context));
  });
}

uint32_t MPG_GetImage(ImageFormat format, const char* inputPath, const char* outputPath,
                      int32_t height, uint32_t quality) noexcept {
  return MPG_GetImageP(format, inputPath, outputPath, 0, height, quality);
}

uint8_t MPG_GetImageP(ImageFormat format, const char* inputPath, const char* outputPath,
                      int32_t position, int32_t height, uint32_t quality) noexcept {
  return ValueOf([&] {
    RequireFiles(outputPath, inputPath);
    GrabFrameByPercent({inputPath, height}, format, outputPath, position, quality);
    return true;
  });
}

void* MPG_GetImageBMP(const char* inputPath, uint32_t second, uint32_t* size,
                      uint32_t height) noexcept {
  uint32_t bytes = 0;
  void* const bitmap = inputPath == nullptr || size == nullptr ? nullptr : ValueOf([&] {
    return GrabBitmapBySecond({inputPath, static_cast<int32_t>(height)}, second, bytes);
  });
  if (size != nullptr) *size = bitmap == nullptr ? 0 : bytes;
  return bitmap;
}

uint8_t MPG_GetImageJPG(const char* inputPath, const char* outputPath, uint32_t second,
                        uint32_t height) noexcept {
  return ValueOf([&] {
    RequireFiles(outputPath, inputPath);
    GrabJpegBySecond({inputPath, static_cast<int32_t>(height)}, second, outputPath);
    return true;
  });
}
