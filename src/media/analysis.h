// How much of a file is examined before its packets are read.
//
// Whole: what FFmpeg reads and decodes of its own accord. Exact for every file, and dear: up to 20
// frames are decoded to learn how far decoding is ahead of showing, from which FFmpeg makes
// decoding times that a file leaves out, and what the frames' pixels are.
//
// Without decoding: no frame of H.264 is decoded (other codecs' are rarely); packets and parameters
// are the same to the last bit, what the decoder would tell coming from the head of the first slice
// (media/h264_description); only a delay that isn't announced isn't guessed. Allowed for MP4, which
// gives every packet both of its times and its duration, and as long as no frame that would be
// decoded brings a parameter set. Everything else is examined whole: transport streams don't tell
// the size, FLV shows its streams too late to be told how, Matroska takes decoding times from the
// guessed delay.
//
// As known from an earlier file: nothing is examined, the parameters are the earlier file's. The
// packets are the same to the last bit where nothing in them follows from what FFmpeg would have
// learned. In transport streams that is little, because FFmpeg reads them anew after its analysis,
// which leaves it with the parameters and the delay alone:
// - the parameters are the same where the first frame brings the same parameter sets, later ones no
//   others, and the first piece of audio decodes to the same kind of audio;
// - the delay decides which decoding times FFmpeg makes. It makes none where each frame has both
//   times, decoding times rise, and frames other than B frames are shown later than decoded. Where
//   they are shown at once, too, but then the parameter sets must announce that there is no delay;
// - frames' durations come from the rate in the parameter sets, not from one that was measured.
// All this can be told only from all packets; they are read ahead, which bounds the file's size. A
// larger file gains little. Where any of it fails, the file is opened anew and examined whole.
//
// So for H.264, HEVC and MPEG-2 with AAC, MPEG audio or AC-3, and for each alone. MPEG-2 that is
// shown at once is examined: its parameter sets aren't read. So is MP4: FFmpeg keeps the packets
// that it read while its parameters still changed.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "media/input.h"
#include "media/known_packets.h"

namespace mpg {

/// Examines the file whole where less isn't allowed. Throws Error with FFmpeg's code, or the
/// system's where the file can't be read. Not for kAsKnown.
Input OpenInput(const char* path, Analysis analysis = Analysis::kWhole);
/// `path`: from where the file is opened again where it has to be examined whole after all.
Input OpenInput(OpenedFile&& file, const char* path, Analysis analysis = Analysis::kWhole);

/// Opens files that are probably alike, such as a film's segments.
class AlikeFiles {
 public:
  /// kWhole: every file is examined whole.
  explicit AlikeFiles(Analysis most = Analysis::kAsKnown) : most_(most) {}

  /// Throws as OpenInput does. `analysis`: kWhole where the file's own parameters are needed, of
  /// which those of an earlier one take the place otherwise. `prefix` as for OpenedFile.
  Input Open(const char* path, Analysis analysis, std::span<const std::uint8_t> prefix = {});

 private:
  bool MayBeKnown(const OpenedFile& file) const;
  std::optional<Input> OpenAsKnown(OpenedFile&& file);
  Input OpenWhole(OpenedFile&& file);

  Analysis most_;
  std::vector<KnownStream> known_;  // of the last fit file examined whole; empty: none yet
  int failures_ = 0;                // how many files in a row were opened in vain
};

}  // namespace mpg
