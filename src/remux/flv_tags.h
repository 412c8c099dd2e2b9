// The leading bytes of an FLV file: file header, script tags, decoder set-ups.
#pragma once

#include <cstdint>
#include <optional>

#include "platform/file.h"

namespace mpg {

/// Number of bytes in front of a file's first tag with video or audio: the file header, script
/// tags, and the tags that carry an AAC or AVC decoder's set-up. Nothing when the file can't be
/// read that far or isn't made of FLV tags.
std::optional<std::int64_t> FindFlvMediaStart(platform::File& file);

}  // namespace mpg
