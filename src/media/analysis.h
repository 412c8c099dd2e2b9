// How much of a file is examined before its packets are read.
//
// Whole: what FFmpeg reads and decodes of its own accord. Exact for every file, and dear: up to 20
// pictures are decoded to learn how far decoding is ahead of showing, from which FFmpeg makes
// decoding times that a file leaves out, and what the pictures' pixels are.
//
// Without decoding: no frame of H.264 is decoded (other codecs' are rarely); the packets are the
// same to the last bit, and so are the parameters that the container tells (among them codec, size,
// extradata, rates and times). Missing is what only decoding tells: pixel format, delay, and aspect
// ratio and colours unless the container has them. Allowed for MP4, which gives every packet both
// of its times and its duration. Everything else is examined whole: transport streams don't tell
// the size, FLV shows its streams too late to be told how, Matroska takes decoding times from the
// guessed delay.
//
// As known from an earlier file: no picture is decoded. The packets are the same to the last bit
// where nothing in them follows from what decoding would have told. This holds for
// - transport streams of H.264 with at most one audio stream, all codecs as in the earlier file;
// - whose only sequence parameter set, the same as in the earlier file and throughout, announces
//   the pictures' rate, from which durations come, and the delay, which is then not guessed;
// - in which each picture has the decoding time that such a delay allows, so that FFmpeg made none.
// The last can be told only from all packets; they are read ahead, which bounds the file's size. A
// larger file gains little. Where any of this fails, the file is opened anew and examined whole.
//
// Other containers and codecs are always examined whole: fragmented MP4 and Matroska take decoding
// times from the guessed delay, HEVC and MPEG-2 announce it in ways that aren't read here.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "media/input.h"

namespace mpg {

enum class Analysis { kWhole, kWithoutDecoding, kAsKnown };

/// Examines the file whole where less isn't allowed. Throws as Input does. Not for kAsKnown.
Input OpenInput(const char* path, Analysis analysis);

/// Opens files that are probably alike, such as a film's segments.
class AlikeFiles {
 public:
  /// kWhole: every file is examined whole.
  explicit AlikeFiles(Analysis most = Analysis::kAsKnown) : most_(most) {}

  /// Throws as Input does. `analysis`: kWhole where the file's own parameters are needed, of which
  /// those of an earlier one take the place otherwise. `prefix` as for OpenedFile.
  Input Open(const char* path, Analysis analysis, std::span<const std::uint8_t> prefix = {});

 private:
  bool MayBeKnown(const OpenedFile& file) const;
  bool IsKnown(Input& input) const;
  void Learn(const Input& input);

  Analysis most_;
  std::vector<KnownStream> known_;      // of the last fit file examined whole; empty: none yet
  std::vector<std::uint8_t> sequence_;  // its parameter set
  int delay_ = 0;                       // in pictures, as announced
  int failures_ = 0;                    // how many files in a row were opened in vain
};

}  // namespace mpg
