// What tests of transcoding and editing begin with: the operations as a host calls them, and a
// film.
#pragma once

#include <cstring>
#include <string>

#include "mpg/mpg.h"
#include "support/host.h"
#include "support/pictures.h"

namespace test {

// The host's string object: short texts inside, longer ones behind a pointer.
inline HostString MakeHostString(const std::string& text) {
  HostString string{};
  string.length = text.size();
  if (text.size() < 16) {
    string.capacity = 15;
    std::memcpy(string.characters.text, text.c_str(), text.size() + 1);
  } else {
    string.capacity = text.size();
    string.characters.pointer = text.c_str();
  }
  return string;
}

inline int Transcode(const std::string& input, const std::string& output,
                     const TranscodeParams& params, ProgressLog* log = nullptr) {
  const HostString in = MakeHostString(input);
  const HostString out = MakeHostString(output);
  return MPG_Transcode(&in, &out, &params, log ? ProgressLog::Callback : nullptr,
                       log ? log->Context() : 0);
}

// Numbered frames with B-frames and a key frame every 30; a click begins with each that is numbered
// 10, 35, 60 or 85.
inline std::string Film(const std::string& extension, const std::string& options = "") {
  std::string codecs = "-c:v libx264 -qp 4 -g 30 -sc_threshold 0 -bf 2 -c:a aac ";
  if (extension == "avi") codecs = "-c:v mpeg4 -q:v 1 -g 30 -bf 2 -c:a libmp3lame ";
  if (extension == "webm") {
    codecs = "-c:v libvpx-vp9 -deadline realtime -cpu-used 8 -crf 10 -b:v 0 -g 30 -c:a libopus ";
  }
  return NumberedVideo(
      "film." + extension,
      "-f lavfi -i \"aevalsrc=0.6*lt(mod(t+0.6\\,1)\\,0.001):s=48000:d=4\" " + codecs + options);
}

// What rewrites one file.
struct Rewriting {
  const char* name;
  int (*run)(const std::string& in, const std::string& out, ProgressLog& log);
  bool hasProgress = true;
};

template <int audioCodec, int videoCodec>
int TranscodeToMp4(const std::string& in, const std::string& out, ProgressLog& log) {
  return Transcode(
      in, out,
      {.formatId = MPG_FORMAT_MP4, .targetAudioCodec = audioCodec, .targetVideoCodec = videoCodec},
      &log);
}

inline const Rewriting kJoinWithItself{"join", [](auto& in, auto& out, auto& log) {
                                         return MPG_MergeAV(in.c_str(), in.c_str(), out.c_str(),
                                                            ProgressLog::Callback, log.Context());
                                       }};

enum { kMp3, kCopy, kReencode, kTrim, kCrop, kShift };

inline const Rewriting kRewritings[] = {
    {"mp3",
     [](auto& in, auto& out, auto& log) {
       return MP3_Convert(in.c_str(), out.c_str(), 0, ProgressLog::Callback, log.Context());
     }},
    {"copy", TranscodeToMp4<0, 0>},
    {"re-encode", TranscodeToMp4<2, 6>},
    {"trim",
     [](auto& in, auto& out, auto&) { return MPG_SaveTrimmedVideo(in.c_str(), out.c_str(), 0, 9); },
     false},
    {"crop", [](auto& in, auto& out, auto&) { return MPG_Crop(in.c_str(), out.c_str()); }, false},
    {"shift",
     [](auto& in, auto& out, auto& log) {
       return MPG_ShiftAudio(in.c_str(), out.c_str(), 0, ProgressLog::Callback, log.Context());
     }},
};

}  // namespace test
