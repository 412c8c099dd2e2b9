#include "probe/output_formats.h"

#include <algorithm>
#include <array>

namespace mpg {
namespace {

// The first row of a number is its answer. The other rows of one are further extensions.
constexpr std::array<OutputFormat, 10> OutputFormatTable{{
    {MPG_FORMAT_3GP, "3gp", "3gp"},
    {MPG_FORMAT_AAC, "aac", "aac"},
    {MPG_FORMAT_AVI, "avi", "avi"},
    {MPG_FORMAT_MP3, "mp3", "mp3"},
    {MPG_FORMAT_MP4, "mp4", "mp4"},
    {MPG_FORMAT_MPEG, "mpg", "mpeg"},
    {MPG_FORMAT_MPEG, "mpeg", "mpeg"},
    {MPG_FORMAT_TS, "ts", "mpegts"},
    {MPG_FORMAT_WMV, "wmv", "wmv"},
    {MPG_FORMAT_WEBM, "webm", "webm"},
}};

}  // namespace

const OutputFormat* FindOutputFormat(OutputFormatId id) {
  const auto* const row = std::ranges::find(OutputFormatTable, id, &OutputFormat::id);
  return row == OutputFormatTable.end() ? nullptr : row;
}

}  // namespace mpg
