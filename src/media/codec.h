// Decoders and what they are opened for.
#pragma once

#include "media/handles.h"

namespace mpg {

/// Opens FFmpeg's decoder for a stream. Throws Error: AVERROR_UNKNOWN when there is none, else
/// FFmpeg's code.
CodecPtr OpenDecoder(const AVCodecParameters& parameters);

/// The same for packets that carry the stream's time stamps, so that frames carry them too, moved
/// on by what the decoder discards of them.
CodecPtr OpenDecoder(const AVStream& stream);

/// An encoder to be filled in and opened; throws Error(AVERROR_UNKNOWN) when FFmpeg has none.
CodecPtr MakeEncoder(AVCodecID codecId);

/// Opens a filled-in encoder, with its global header apart where the muxer wants that, and writes
/// into the output stream what it then announces; the stream keeps its codec tag. Throws Error
/// with FFmpeg's code.
void OpenEncoder(AVCodecContext& encoder, const AVOutputFormat& muxer, AVStream& target);

/// Channels that the stream's decoder reports once it is open; 0 when it can't be opened.
int DecodedChannels(const AVCodecParameters& parameters);

}  // namespace mpg
