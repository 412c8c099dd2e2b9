// Containers that a host may ask for by number.
#pragma once

#include "mpg/mpg.h"

namespace mpg {

struct OutputFormat {
  OutputFormatId id;
  const char* extension;  // without dot
  const char* muxer;      // FFmpeg's short name
};

/// The container of that number, or null.
const OutputFormat* FindOutputFormat(OutputFormatId id);

}  // namespace mpg
