// Owners of FFmpeg objects. The function that frees an object is part of its owner's type, so a
// frame can't be freed as a packet, and nothing outside this folder frees anything.
#pragma once

#include <cstdint>
#include <memory>
#include <type_traits>

#include "core/error.h"
#include "media/ffmpeg.h"

namespace mpg {

/// Calls Free with the object, or with the address of a pointer to it where Free clears that.
template <auto Free>
struct Deleter {
  template <class T>
  void operator()(T* object) const noexcept {
    // In this order: a function that takes any pointer takes the address of one, too.
    if constexpr (std::is_invocable_v<decltype(Free), T*>) {
      Free(object);
    } else {
      Free(&object);
    }
  }
};

using PacketPtr = std::unique_ptr<AVPacket, Deleter<av_packet_free>>;
using FramePtr = std::unique_ptr<AVFrame, Deleter<av_frame_free>>;
using BitstreamFilterPtr = std::unique_ptr<AVBSFContext, Deleter<av_bsf_free>>;
using CodecPtr = std::unique_ptr<AVCodecContext, Deleter<avcodec_free_context>>;
using CodecParametersPtr = std::unique_ptr<AVCodecParameters, Deleter<avcodec_parameters_free>>;
using ParserPtr = std::unique_ptr<AVCodecParserContext, Deleter<av_parser_close>>;
using ScalerPtr = std::unique_ptr<SwsContext, Deleter<sws_freeContext>>;
using ResamplerPtr = std::unique_ptr<SwrContext, Deleter<swr_free>>;
using AudioFifoPtr = std::unique_ptr<AVAudioFifo, Deleter<av_audio_fifo_free>>;
using BytesPtr = std::unique_ptr<std::uint8_t, Deleter<av_free>>;
using InputContextPtr = std::unique_ptr<AVFormatContext, Deleter<avformat_close_input>>;
using OutputContextPtr = std::unique_ptr<AVFormatContext, Deleter<avformat_free_context>>;

/// An empty packet; throws Error(ENOMEM).
inline PacketPtr MakePacket() {
  return PacketPtr(CheckAllocated(av_packet_alloc()));
}

/// An empty frame; throws Error(ENOMEM).
inline FramePtr MakeFrame() {
  return FramePtr(CheckAllocated(av_frame_alloc()));
}

/// A copy; throws Error(ENOMEM).
inline CodecParametersPtr CopyParameters(const AVCodecParameters& parameters) {
  CodecParametersPtr copy(CheckAllocated(avcodec_parameters_alloc()));
  Check(avcodec_parameters_copy(copy.get(), &parameters));
  return copy;
}

}  // namespace mpg
