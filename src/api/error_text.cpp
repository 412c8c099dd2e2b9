#include "api/error_text.h"

#include <algorithm>
#include <array>

#include "media/ffmpeg.h"
#include "mpg/mpg.h"

namespace mpg {
namespace {

struct CodeText {
  std::int32_t code;
  const char* text;
};

constexpr std::array<CodeText, 4> kTexts{{
    {MPG_ERR_AUDIO_CODEC_NOT_FOUND, "Audio codec not found"},
    {MPG_ERR_VIDEO_CODEC_NOT_FOUND, "Video codec not found"},
    {MPG_ERR_AUDIO_STREAM_NOT_FOUND, "Audio stream not found"},
    {MPG_ERR_VIDEO_STREAM_NOT_FOUND, "Video stream not found"},
}};

std::array<char, 260> ffmpegText;

}  // namespace

const char* ErrorText(std::int32_t code) {
  const auto* const own = std::ranges::find(kTexts, code, &CodeText::code);
  if (own != kTexts.end()) return own->text;
  av_strerror(code, ffmpegText.data(), ffmpegText.size());
  return ffmpegText.data();
}

}  // namespace mpg
