// Joining the segments of a download into one file without touching their packets' contents.
#pragma once

#include <string>
#include <vector>

#include "core/progress.h"
#include "media/analysis.h"

namespace mpg {

struct SegmentList {
  std::vector<std::string> paths;          // in playing order
  bool closeGaps = false;                  // take forward jumps of the time stamps out
  bool deleteSegments = false;             // once the whole join has succeeded
  Analysis analysis = Analysis::kAsKnown;  // the output is the same with either
};

/// Joins the segments into an MPEG transport stream or an MP4 file, as the output's extension says,
/// with the kinds of stream that the first entry has. Entries that are missing are skipped, broken
/// ones passed. Reports once per entry; when the host stops it, the file ends there. Throws Error
/// and then leaves no output; MPG_ERR_INVALID_PARAMETER when the output is an entry that was not
/// there so far.
void JoinSegments(const SegmentList& list, const char* outputPath, Progress progress);

/// FFmpeg's short name of the muxer for a joined file of that name.
const char* SegmentMuxerName(const char* outputPath);

}  // namespace mpg
