#include "media/h264_sequence.h"

#include <gtest/gtest.h>

#include <bitset>
#include <string>
#include <vector>

namespace mpg {
namespace {

template <std::size_t kCount>
std::string Bits(unsigned value) {
  return std::bitset<kCount>(value).to_string();
}

// Exp-Golomb codes, of numbers and of signed ones.
std::string Code(unsigned value) {
  const std::string bits = Bits<32>(value + 1);
  const std::size_t zeros = bits.find('1');
  return std::string(31 - zeros, '0') + bits.substr(zeros);
}

// A parameter set in its parts; each but the last has something behind it that could be misread.
struct Sequence {
  std::string profile = Bits<8>(77);
  std::string chroma = "";
  std::string order = Code(2);
  std::string fields = "1", crop = "0";
  std::string shape = "0", overscan = "0", signal = "0", location = "0", timing = "0";
  std::string models = "00";
  std::string end = "11" + Code(7) + Code(8) + Code(9) + Code(10) + Code(3) + Code(4);

  std::vector<std::uint8_t> Bytes() const {
    std::string bits = Bits<8>(0x67) + profile + Bits<16>(0x4029) + Code(1) + chroma + Code(5) +
                       order + Code(4) + "1" + Code(19) + Code(14) + fields + "1" + crop + "1" +
                       shape + overscan + signal + location + timing + models + "1" + end + "1";
    bits.resize((bits.size() + 7) / 8 * 8, '0');
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i < bits.size(); i += 8) {
      bytes.push_back(static_cast<std::uint8_t>(std::bitset<8>(bits, i, 8).to_ulong()));
    }
    return bytes;
  }
};

TEST(AnnouncedDelay, StandsBehindEverythingElse) {
  const std::string high = Bits<8>(100);
  // A list of differences that ends with its second number (8 - 7, - 1), and a whole one.
  const std::string shortList = "1" + Code(14) + Code(2);
  std::string longList = "1";
  for (int i = 0; i < 64; ++i) longList += Code(1);
  const std::string buffers = Code(1) + Bits<8>(0x45) +
                              (Code(6) + Code(7) + "1" + Code(8) + Code(9) + "0") +
                              Bits<20>(0xA5A5A);
  const struct {
    const char* name;
    Sequence sequence;
    std::optional<int> expected = 3;
  } kCases[] = {
      {"plain", {}},
      {"lists",
       {.profile = high,
        .chroma = Code(1) + Code(0) + Code(4) + "11" + shortList + "00000" + longList + "0"}},
      {"twelve lists",
       {.profile = high,
        .chroma =
            Code(3) + "1" + Code(2) + Code(0) + "11" + std::string(10, '0') + shortList + "0"}},
      {"no lists", {.profile = high, .chroma = Code(1) + Code(1) + Code(2) + "00"}},
      {"order by counts", {.order = Code(0) + Code(6)}},
      {"order by cycle",
       {.order = Code(1) + "1" + Code(3) + Code(4) + Code(2) + Code(5) + Code(6)}},
      {"fields, cropped", {.fields = "01", .crop = "1" + Code(0) + Code(1) + Code(2) + Code(4)}},
      {"its look",
       {.shape = "1" + Bits<8>(255) + Bits<32>(0x5A405A30),
        .overscan = "11",
        .signal = "1" + Bits<4>(11) + "1" + Bits<24>(0x515253),
        .location = "1" + Code(2) + Code(3),
        .timing = "1" + Bits<32>(0x5A5AF0E9) + Bits<32>(0xA5A5EA60) + "1"}},
      {"less of it", {.shape = "1" + Bits<8>(14), .signal = "1" + Bits<4>(11) + "0"}},
      {"one model", {.models = "1" + buffers + "01"}},
      {"other model", {.models = "01" + buffers + "1"}},
      {"nothing announced", {.end = "0"}, std::nullopt},
      {"nonsense", {.end = "11" + Code(7) + Code(8) + Code(9) + Code(10) + Code(17)}, std::nullopt},
      {"cut off", {.end = "11"}, std::nullopt},
  };
  for (const auto& c : kCases) EXPECT_EQ(AnnouncedDelay(c.sequence.Bytes()), c.expected) << c.name;
}

}  // namespace
}  // namespace mpg
