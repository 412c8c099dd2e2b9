// MPG_Transcode as a host calls it.
#pragma once

#include <cstring>
#include <string>

#include "mpg/mpg.h"
#include "support/host.h"

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

}  // namespace test
