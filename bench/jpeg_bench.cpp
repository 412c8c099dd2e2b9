// This library's JPEG encoder beside libjpeg-turbo's, on the same pictures in memory: 4:4:4,
// standard Huffman tables, one thread.
//
//   jpeg_bench ROUNDS
#include <turbojpeg.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "contest.h"
#include "image/jpeg_encoder.h"

namespace {

constexpr int kWidth = 3840;
constexpr int kHeight = 2160;
using Pixels = std::vector<std::uint8_t>;

std::uint8_t ToByte(float value) {
  return static_cast<std::uint8_t>(std::clamp(std::lround(value), 0L, 255L));
}

// Smooth random field with features of about `scale` pixels.
class Noise {
 public:
  Noise(int scale, unsigned seed) : scale_(scale), columns_(kWidth / scale + 2) {
    std::mt19937 random(seed);
    const std::size_t rows = static_cast<std::size_t>(kHeight / scale + 2);
    knots_.resize(rows * static_cast<std::size_t>(columns_));
    for (float& knot : knots_) knot = static_cast<float>(random() % 2001) / 1000.0f - 1.0f;
  }

  float At(int x, int y) const {
    const float fx = static_cast<float>(x % scale_) / static_cast<float>(scale_);
    const float fy = static_cast<float>(y % scale_) / static_cast<float>(scale_);
    const int at = y / scale_ * columns_ + x / scale_;
    return Mix(Mix(Knot(at), Knot(at + 1), fx),
               Mix(Knot(at + columns_), Knot(at + columns_ + 1), fx), fy);
  }

 private:
  float Knot(int at) const { return knots_[static_cast<std::size_t>(at)]; }
  static float Mix(float a, float b, float t) { return a + (b - a) * (t * t * (3 - 2 * t)); }

  int scale_;
  int columns_;
  std::vector<float> knots_;
};

// Shading, hard edges, textures that come and go, and a sensor's grain.
Pixels MakePhoto() {
  Pixels pixels;
  pixels.reserve(std::size_t{kWidth} * kHeight * 3);
  std::vector<Noise> light, tint;
  for (int octave = 0; octave < 8; ++octave) {
    light.emplace_back(512 >> octave, 100u + static_cast<unsigned>(octave));
    tint.emplace_back(512 >> octave, 200u + static_cast<unsigned>(octave));
  }
  std::mt19937 random(7);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const float detail = std::max(0.0f, light[2].At(x, y) + 0.2f);
      float luma = 120, blue = 0, red = 0;
      for (std::size_t octave = 0; octave < light.size(); ++octave) {
        const float weight = 60.0f / static_cast<float>(1 << octave);
        luma += light[octave].At(x, y) * weight * (octave > 3 ? 4.0f * detail : 1.0f);
        blue += tint[octave].At(x, y) * weight * 0.5f;
        red += tint[octave].At(kWidth - 1 - x, y) * weight * 0.5f;
      }
      if (light[1].At(x, y) > 0.25f) luma -= 70, red += 25;
      const float grain = static_cast<float>(random() % 9) - 4.0f;
      pixels.push_back(ToByte(luma + red + grain));
      pixels.push_back(ToByte(luma - (red + blue) * 0.4f + grain));
      pixels.push_back(ToByte(luma + blue + grain));
    }
  }
  return pixels;
}

Pixels MakeNoise() {
  Pixels pixels(std::size_t{kWidth} * kHeight * 3);
  std::mt19937 random(11);
  for (std::uint8_t& byte : pixels) byte = static_cast<std::uint8_t>(random());
  return pixels;
}

// Often enough for the clock of a process.
constexpr int kRepeats = 8;
std::vector<std::uint8_t> file(std::size_t{kWidth} * kHeight * 6);

int Encode(const Pixels& pixels, int quality) {
  std::uint8_t* fileEnd = nullptr;
  const mpg::ByteSink sink = {[](void* end, std::span<const std::uint8_t> bytes) {
                                auto& to = *static_cast<std::uint8_t**>(end);
                                to = std::ranges::copy(bytes, to).out;
                              },
                              &fileEnd};
  for (int i = 0; i < kRepeats; ++i) {
    fileEnd = file.data();
    mpg::JpegEncoder(sink, pixels.data(), kWidth, kHeight, static_cast<std::uint8_t>(quality));
  }
  return 0;
}

int EncodeByPeer(const Pixels& pixels, int quality) {
  tjhandle handle = tjInitCompress();
  int result = 0;
  for (int i = 0; i < kRepeats && result == 0; ++i) {
    unsigned char* out = file.data();
    unsigned long size = file.size();
    result = tjCompress2(handle, pixels.data(), kWidth, 0, kHeight, TJPF_RGB, &out, &size,
                         TJSAMP_444, quality, TJFLAG_ACCURATEDCT | TJFLAG_NOREALLOC);
  }
  tjDestroy(handle);
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: jpeg_bench ROUNDS\n");
    return 2;
  }
  const std::pair<const char*, Pixels> pictures[] = {
      {"photo-like", MakePhoto()},
      {"noise", MakeNoise()},
      {"flat", Pixels(std::size_t{kWidth} * kHeight * 3, 90)}};
  for (const auto& [name, pixels] : pictures) {
    for (const int quality : {75, 90}) {
      bench::Run(
          {.work = "JPEG, " + std::string(name) + ", quality " + std::to_string(quality),
           .contestants = {{"JpegEncoder", [&] { return Encode(pixels, quality); }},
                           {"libjpeg-turbo", [&] { return EncodeByPeer(pixels, quality); }, 1}},
           .rounds = std::atoi(argv[1])});
    }
  }
}
