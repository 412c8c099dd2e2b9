// Sample rates and bit rates that MP3 and AAC encoders accept.
#pragma once

#include <array>
#include <cstdint>

#include "transcode/ladder.h"

namespace mpg {

/// In Hz. 44100 is the last rate that a request is rounded up to; everything above it becomes
/// 48000.
inline constexpr std::array<std::int32_t, 9> kAudioSampleRates = {8000,  11025, 12000, 16000, 22050,
                                                                  24000, 32000, 44100, 48000};

/// In bits per second.
inline constexpr std::array<std::int32_t, 17> kAudioBitRates = {
    8000,   16000,  24000,  32000,  48000,  56000,  64000,  80000, 96000,
    112000, 128000, 144000, 160000, 192000, 224000, 256000, 320000};

constexpr std::int32_t SnapAudioSampleRate(std::int32_t request) {
  return SnapUp(kAudioSampleRates, request);
}

constexpr std::int32_t SnapAudioBitRate(std::int32_t request) {
  return SnapUp(kAudioBitRates, request);
}

}  // namespace mpg
