// How a video file and an audio file can be joined: which streams may be copied, and into which
// container.
#pragma once

#include "media/stream_finder.h"
#include "mpg/mpg.h"

namespace mpg {

/// Decides by the codecs of the first audio and the first video stream; AV_CODEC_ID_NONE stands for
/// a file without one. Throws Error: MPG_ERR_AUDIO_CODEC_NOT_FOUND, else
/// MPG_ERR_VIDEO_CODEC_NOT_FOUND.
MergeDecision DecideMerge(AVCodecID audio, AVCodecID video);

/// The older rules. Throws as DecideMerge does.
MergeDecisionPrefix DecideMergeByOlderRules(AVCodecID audio, AVCodecID video);

/// Asks one of the two about files. A file that can't be read has no codec.
template <class Decide>
auto ProbeMerge(const char* videoPath, const char* audioPath, Decide decide) {
  const AVCodecID audio = ProbeCodecId(audioPath, AVMEDIA_TYPE_AUDIO);
  // Without audio the video doesn't matter.
  const AVCodecID video =
      audio == AV_CODEC_ID_NONE ? AV_CODEC_ID_NONE : ProbeCodecId(videoPath, AVMEDIA_TYPE_VIDEO);
  return decide(audio, video);
}

/// FFmpeg's short name of the muxer for a decision's container.
const char* MuxerName(std::uint32_t container);

}  // namespace mpg
