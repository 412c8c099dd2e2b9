#include "transcode/crop.h"

#include <utility>

#include "media/analysis.h"
#include "media/codec.h"
#include "transcode/same_container.h"

namespace mpg {
namespace {

// Runs a step; when it fails, the log says which.
template <class Step>
auto Logged(const char* text, Step&& step) try {
  return step();
} catch (const Error&) {
  av_log(nullptr, AV_LOG_ERROR, "%s\n", text);
  throw;
}

// The input must be readable before an output takes the place of an older one.
void CheckInput(const char* path) {
  MuxerForFile(path);
  OpenedFile file = Logged("Cannot open input file", [&] { return OpenedFile(path); });
  Logged("Cannot find stream information", [&] { return OpenInput(std::move(file), path); });
}

CodecPtr OpenVideoDecoder(const Input& input, const AVStream& video) {
  Logged("Cannot find a video stream in the input file", [&] {
    return Check(av_find_best_stream(input.Context(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0));
  });
  CodecPtr decoder = Logged("Cannot open video decoder",
                            [&] { return OpenDecoder(video, DecoderThreads::kAuto); });
  // Nobody sees the frames, and what is wrong with a packet shows before they are smoothed.
  decoder->skip_loop_filter = AVDISCARD_ALL;
  return decoder;
}

}  // namespace

void CropVideo(const char* inputPath, const char* outputPath) {
  CheckInput(inputPath);
  SameContainerCopy copy(inputPath, outputPath);
  const CodecPtr decoder = OpenVideoDecoder(copy.File(), *copy.Video().source);
  copy.WriteHeader();

  const FramePtr frame = MakeFrame();
  const auto decode = [&](const AVPacket* packet) {
    Check(DecodePacket(*decoder, packet, *frame, [] {}));
  };
  copy.ReadPackets([&](AVPacket& packet) {
    if (!copy.IsAudio(packet)) decode(&packet);
    copy.Write(packet);
    return true;
  });
  // Errors of the last packets, which the decoder's threads still hold.
  decode(nullptr);
  copy.Finish();
}

}  // namespace mpg
