#include "media/codec.h"

namespace mpg {

CodecPtr OpenDecoder(const AVCodecParameters& parameters) {
  const AVCodec* const codec = avcodec_find_decoder(parameters.codec_id);
  if (codec == nullptr) throw Error(AVERROR_UNKNOWN);
  CodecPtr decoder(avcodec_alloc_context3(codec));
  if (decoder == nullptr) throw Error(AVERROR_UNKNOWN);
  Check(avcodec_parameters_to_context(decoder.get(), &parameters));
  Check(avcodec_open2(decoder.get(), codec, nullptr));
  return decoder;
}

int DecodedChannels(const AVCodecParameters& parameters) try {
  return OpenDecoder(parameters)->ch_layout.nb_channels;
} catch (const Error&) {
  return 0;
}

}  // namespace mpg
