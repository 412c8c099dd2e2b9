// Which stream of a file an operation works on.
#pragma once

#include "media/input.h"

namespace mpg {

/// Index of the first usable audio stream whose index is greater than `after`; -1 when there is
/// none, or no context. Usable: it tells a sample rate, or its decoder opens and reports channels.
int FindNextAudioStream(const AVFormatContext* context, int after);

/// The first usable audio stream of all.
inline int FindAudioStream(const AVFormatContext* context) {
  return FindNextAudioStream(context, -1);
}

/// The audio stream to copy, -1 when there is none: the first usable one, but one without sample
/// rate is passed over for the next usable one as long as the number of audio streams exceeds the
/// number of streams up to it.
int FindCopiableAudioStream(const AVFormatContext* context);

/// The first stream of a kind, usable or not, or null.
AVStream* FindFirstStream(const AVFormatContext* context, AVMediaType type);

/// The file's first video stream; throws Error(MPG_ERR_VIDEO_STREAM_NOT_FOUND) where it has none.
AVStream& RequireVideoStream(const Input& input);

/// True for a picture that stands for the file, such as an album's: FFmpeg's attached picture.
inline bool IsCoverArt(const AVStream& stream) {
  return (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
}

/// The first video stream that isn't cover art, or null.
AVStream* FindMovingVideo(const AVFormatContext* context);

/// Number of streams of a kind.
int CountStreams(const AVFormatContext* context, AVMediaType type);

/// Codec of a file's first stream of a kind; AV_CODEC_ID_NONE when it has none or can't be read.
AVCodecID ProbeCodecId(const char* path, AVMediaType type);
AVCodecID ProbeCodecId(const Input& input, AVMediaType type);

}  // namespace mpg
