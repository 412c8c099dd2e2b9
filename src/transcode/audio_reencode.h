// What stands ready before audio is re-encoded: input, decoder, encoder, output stream, and the
// resampler and sample queue between them.
#pragma once

#include "media/input.h"
#include "media/output.h"

namespace mpg {

/// One input's audio and the output stream that it is encoded for.
struct AudioReencode {
  Input input;
  const AVStream* source;  // the input's, which is decoded
  AVStream* target;        // the output's
  CodecPtr decoder;        // open
  CodecPtr encoder;        // filled in; whoever uses it adjusts it and calls OpenAudioEncoder
};

/// The audio stream with the highest bit rate. The first one wins over equals, but a stream of
/// unknown bit rate gives way to any later one. Throws Error(MPG_ERR_AUDIO_STREAM_NOT_FOUND).
const AVStream& ChooseAudioStream(const Input& input);

/// Opens the decoder of the input's chosen stream, adds an output stream for the codec
/// (AV_CODEC_ID_NONE: the input's own) that describes the input's audio, and prepares an encoder
/// that keeps the input's rates, sample format and number of channels. Throws Error.
AudioReencode OpenAudioReencode(Output& output, Input input, AVCodecID codecId);

/// AMR knows one sample rate and one channel, and has a tag of its own: sets them where the encoder
/// is one of its two.
void ApplyAmrFormat(AVCodecContext& encoder, AVStream& target);

/// Opens the encoder with time stamps counted in samples, and makes the output stream say what the
/// encoder does. Before the header is written.
void OpenAudioEncoder(AudioReencode& audio, const Output& output);

/// Samples as a decoder hands them out or an encoder wants them.
struct SampleLayout {
  AVSampleFormat format;
  int sampleRate;
  int channels;

  friend bool operator==(const SampleLayout&, const SampleLayout&) = default;
};

/// What an open encoder, a decoder or a frame says; what it leaves open is taken from `fallback`.
SampleLayout LayoutOf(const AVCodecContext& codec, const SampleLayout& fallback = {});
SampleLayout LayoutOf(const AVFrame& frame, const SampleLayout& fallback);

/// A converter between two layouts, each channel at its default place. Throws Error.
ResamplerPtr CreateResampler(const SampleLayout& from, const SampleLayout& to);

/// Converted samples on their way to the encoder.
struct ResamplerAndFifo {
  ResamplerPtr resampler;
  AudioFifoPtr fifo;
};
/// From what the decoder gives to what the encoder takes. Throws Error.
ResamplerAndFifo CreateResamplerAndFifo(const AVCodecContext& decoder,
                                        const AVCodecContext& encoder);

}  // namespace mpg
