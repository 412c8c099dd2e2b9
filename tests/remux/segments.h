// Segments of one film, and joining them.
#pragma once

#include <string>
#include <vector>

#include "support/host.h"

namespace test {

using Paths = std::vector<std::string>;

struct MergeOptions {
  bool deleteSegments = false;
  bool closeGaps = false;
  ProgressLog* log = nullptr;
};

/// What MPG_Merge returns.
int Merge(const Paths& segments, const std::string& output, const MergeOptions& options = {});

/// Runs the ffmpeg program; throws when it fails.
void Ffmpeg(const std::string& arguments);

/// Six seconds of 25 frames a second and 48 kHz stereo, a key frame every two.
std::string FilmToCut(const std::string& frameOptions = "-bf 0");

/// The three segments of two seconds that ffmpeg's muxer with those options cuts a film into.
Paths Cut(const ScratchFolder& folder, const std::string& film,
          const std::string& options = "-f segment -segment_time 2",
          const std::string& extension = "ts");

}  // namespace test
