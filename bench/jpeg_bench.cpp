// Megapixels a second of this library's JPEG encoder beside those of libjpeg-turbo, on the same
// pictures in memory: 4:4:4, standard Huffman tables, one thread.
#include <benchmark/benchmark.h>
#include <turbojpeg.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

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

const Pixels& Picture(int index) {
  static const std::array<Pixels, 3> pictures = {MakePhoto(), MakeNoise(),
                                                 Pixels(std::size_t{kWidth} * kHeight * 3, 90)};
  return pictures[static_cast<std::size_t>(index)];
}
constexpr const char* kPictureNames[] = {"photo", "noise", "flat"};

void Report(benchmark::State& state, std::size_t fileBytes) {
  constexpr double kPixels = double{kWidth} * kHeight;
  state.counters["MP/s"] = benchmark::Counter(
      kPixels / 1e6 * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
  state.counters["bits/pixel"] = static_cast<double>(fileBytes) * 8 / kPixels;
}

std::vector<std::uint8_t> file(std::size_t{kWidth} * kHeight * 6);

void Ours(benchmark::State& state, int picture, int quality) {
  const Pixels& pixels = Picture(picture);
  std::uint8_t* fileEnd = nullptr;
  const mpg::ByteSink sink = {[](void* end, std::span<const std::uint8_t> bytes) {
                                auto& to = *static_cast<std::uint8_t**>(end);
                                to = std::ranges::copy(bytes, to).out;
                              },
                              &fileEnd};
  for (auto _ : state) {
    fileEnd = file.data();
    mpg::JpegEncoder(sink, pixels.data(), kWidth, kHeight, static_cast<std::uint8_t>(quality));
  }
  Report(state, static_cast<std::size_t>(fileEnd - file.data()));
}

void Peer(benchmark::State& state, int picture, int quality, int flags) {
  const Pixels& pixels = Picture(picture);
  tjhandle handle = tjInitCompress();
  unsigned char* out = file.data();
  unsigned long size = 0;
  for (auto _ : state) {
    size = file.size();
    if (tjCompress2(handle, pixels.data(), kWidth, 0, kHeight, TJPF_RGB, &out, &size, TJSAMP_444,
                    quality, flags | TJFLAG_NOREALLOC) != 0) {
      state.SkipWithError(tjGetErrorStr2(handle));
      break;
    }
  }
  tjDestroy(handle);
  Report(state, size);
}

}  // namespace

int main(int argc, char** argv) {
  for (const int picture : {0, 1, 2}) {
    for (const int quality : {75, 90}) {
      const std::string name =
          std::string("/") + kPictureNames[picture] + "/q" + std::to_string(quality);
      benchmark::RegisterBenchmark(("mpg" + name).c_str(), Ours, picture, quality);
      benchmark::RegisterBenchmark(("turbo_islow" + name).c_str(), Peer, picture, quality,
                                   TJFLAG_ACCURATEDCT);
      benchmark::RegisterBenchmark(("turbo_fast" + name).c_str(), Peer, picture, quality,
                                   TJFLAG_FASTDCT);
    }
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
