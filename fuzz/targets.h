// What is fuzzed. Each target takes any bytes and aborts where an invariant beyond "no crash"
// doesn't hold. libFuzzer drives them (preset `fuzz`); an ordinary test replays seeds and finds.
#pragma once

#include <cstdint>
#include <span>

namespace mpg::fuzz {

using Input = std::span<const std::uint8_t>;

/// An FLV file, walked and repaired: its length and all that lies behind its header stay.
void FlvRepair(Input input);

/// Borders and packets of segments with any times: decoding times rise, nothing is shown before it
/// is decoded.
void SegmentTimes(Input input);

/// A media file given to all operations: it stays as it is, outputs are where they are promised,
/// and nothing else is left behind.
void Operations(Input input);

}  // namespace mpg::fuzz
