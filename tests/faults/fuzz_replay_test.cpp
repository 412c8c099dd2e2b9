// What the fuzzers begin with, what they found, and a few steps beyond.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "fuzz/targets.h"
#include "media/ffmpeg.h"
#include "support/media.h"
#include "support/places.h"

namespace {

namespace fs = std::filesystem;
using Target = void (*)(mpg::fuzz::Input);

void Give(Target target, const std::string& bytes) {
  target({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
}

// Alike on every machine.
std::mt19937 random(7);

std::string Mutated(std::string bytes) {
  for (unsigned change = random() % 8 + 1; change > 0 && !bytes.empty(); --change) {
    // Half of them in the header, where sizes and types stand.
    const std::size_t range =
        random() % 2 != 0 ? bytes.size() : std::min<std::size_t>(200, bytes.size());
    bytes[random() % range] = static_cast<char>(random());
  }
  if (random() % 4 == 0) bytes.resize(random() % (bytes.size() + 1));
  return bytes;
}

std::vector<std::string> Noise(std::size_t count) {
  std::vector<std::string> texts(count, std::string(600, ' '));
  for (std::string& text : texts) {
    for (char& letter : text) letter = static_cast<char>(random());
  }
  return texts;
}

std::string Seed(const char* name, const std::string& codecs) {
  return test::ReadBytes(test::MakeMedia(name,
                                         "-f lavfi -i testsrc2=size=48x32:rate=5 -f lavfi -i "
                                         "sine=sample_rate=8000 -t 1 " +
                                             codecs));
}

TEST(Fuzz, SeedsAndFindsHold) {
  av_log_set_level(AV_LOG_QUIET);
  struct Case {
    Target target;
    const char* name;
    int mutations;
    std::vector<std::string> seeds;
  };
  const Case cases[] = {
      {mpg::fuzz::FlvRepair,
       "flv_repair",
       60,
       {Seed("tiny.flv", "-c:v flv -c:a libmp3lame -ar 11025")}},
      {mpg::fuzz::SegmentTimes, "segment_times", 0, Noise(2000)},
      {mpg::fuzz::Operations,
       "operations",
       12,
       {Seed("tiny.mp4", "-c:v libx264 -bf 2 -c:a aac"),
        Seed("tiny.ts", "-c:v libx264 -bf 2 -c:a aac"),
        Seed("tiny.avi", "-c:v mpeg4 -bf 2 -c:a libmp3lame -ar 16000"),
        Seed("tiny.webm", "-c:v libvpx -c:a libopus -ar 48000")}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    for (const std::string& seed : c.seeds) {
      Give(c.target, seed);
      for (int i = 0; i < c.mutations; ++i) Give(c.target, Mutated(seed));
    }
    const fs::path finds = fs::path(test::kFuzzFindsFolder) / c.name;
    if (!fs::exists(finds)) continue;
    for (const auto& find : fs::directory_iterator(finds)) {
      Give(c.target, test::ReadBytes(find.path().string()));
    }
  }
  av_log_set_level(AV_LOG_INFO);
}

}  // namespace
