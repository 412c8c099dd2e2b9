// What differs between the FFmpeg versions that the library builds with, 5.1 and newer.
#pragma once

#include <span>

#include "media/ffmpeg.h"

namespace mpg {

/// What an encoder takes or a decoder gives; nothing where the codec doesn't say, which for an
/// encoder means that it takes all. The codec owns the lists.
std::span<const AVSampleFormat> SampleFormats(const AVCodec& codec);
std::span<const AVPixelFormat> PixelFormats(const AVCodec& codec);
std::span<const int> SampleRates(const AVCodec& codec);
std::span<const AVChannelLayout> ChannelLayouts(const AVCodec& codec);

/// The first format that the decoder of an audio stream lists. Behind FFmpeg 7 some list none; the
/// stream's own, which reading it brings, stands in there. AV_SAMPLE_FMT_NONE where unknown.
AVSampleFormat FirstSampleFormat(const AVCodec& decoder, const AVCodecParameters& parameters);

/// Frames a second, as r_frame_rate tells them, of which newer versions count fields where a
/// stream has no time stamps, such as raw H.264. 0/0 where unknown.
AVRational RealFrameRate(const AVStream& stream);

/// What belongs to the whole stream beside its codec parameters, such as the rotation. From 6.1 on
/// it is part of these parameters and copied with them. The stream owns it.
std::span<const AVPacketSideData> SideData(const AVStream& stream);

/// Whether a frame holds two fields, and which is shown first.
bool IsInterlaced(const AVFrame& frame);
void SetTopFieldFirst(AVFrame& frame, bool isTopFirst);

/// Adds a copy, in place of what the stream has of that type. Throws Error(ENOMEM).
void AddSideData(AVStream& stream, const AVPacketSideData& entry);

}  // namespace mpg
