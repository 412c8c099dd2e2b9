#include "support/audio.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <numbers>
#include <sstream>
#include <stdexcept>

#include "support/judges.h"
#include "support/probe.h"

namespace test {
namespace {

std::vector<float> Decode(const std::string& path) {
  const std::string bytes = AskForBytes("ffmpeg -v error -i", path, "-map 0:a:0 -f f32le");
  std::vector<float> samples(bytes.size() / sizeof(float));
  std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(float));
  return samples;
}

std::complex<double> Correlate(const std::vector<double>& signal, double cycles) {
  std::complex<double> sum = 0;
  for (std::size_t i = 0; i < signal.size(); ++i) {
    const double turn = cycles * static_cast<double>(i) / static_cast<double>(signal.size());
    sum += signal[i] * std::polar(1.0, -2 * std::numbers::pi * turn);
  }
  return 2.0 * sum / static_cast<double>(signal.size());
}

}  // namespace

Audio::Audio(const std::string& path)
    : rate_(std::stoi(Probe(path, "stream=sample_rate", "a:0"))),
      channels_(std::stoi(Probe(path, "stream=channels", "a:0"))),
      samples_(Decode(path)) {
  std::istringstream frames(Probe(path, "frame=pts_time,nb_samples", "a:0"));
  std::size_t sample = 0;
  double time = 0;
  for (std::size_t length = 0; frames >> time >> length; sample += length) {
    pieces_.push_back({time, sample});
  }
  if (pieces_.empty() || sample * static_cast<std::size_t>(channels_) != samples_.size()) {
    throw std::runtime_error(path + ": ffmpeg and ffprobe decode differently");
  }
}

double Audio::Length() const {
  return static_cast<double>(samples_.size()) / channels_ / rate_;
}

double Audio::TimeOf(std::size_t sample) const {
  const auto next = std::upper_bound(
      pieces_.begin(), pieces_.end(), sample,
      [](std::size_t value, const Piece& piece) { return value < piece.firstSample; });
  const Piece& piece = *std::prev(next);
  return piece.time + static_cast<double>(sample - piece.firstSample) / rate_;
}

// One second: whole frequencies have whole periods there.
std::vector<double> Audio::Window(int channel) const {
  std::vector<double> signal;
  const auto first = static_cast<std::size_t>(rate_ / 2);
  for (std::size_t i = first; i < first + static_cast<std::size_t>(rate_); ++i) {
    signal.push_back(
        samples_.at(i * static_cast<std::size_t>(channels_) + static_cast<std::size_t>(channel)));
  }
  return signal;
}

double Audio::Amplitude(int channel, double frequency) const {
  return std::abs(Correlate(Window(channel), frequency));
}

double Audio::Rest(int channel, const std::vector<double>& frequencies) const {
  const std::vector<double> signal = Window(channel);
  double power = 0;
  for (const double value : signal) power += 2 * value * value / static_cast<double>(signal.size());
  for (const double frequency : frequencies) power -= std::norm(Correlate(signal, frequency));
  return std::sqrt(std::max(power, 0.0));
}

std::vector<double> Audio::Clicks(int channel) const {
  const auto level = [&](std::size_t i) {
    return std::abs(
        samples_[i * static_cast<std::size_t>(channels_) + static_cast<std::size_t>(channel)]);
  };
  const std::size_t count = samples_.size() / static_cast<std::size_t>(channels_);
  float loudest = 0;
  for (std::size_t i = 0; i < count; ++i) loudest = std::max(loudest, level(i));
  std::vector<double> times;
  // A click rings for less than a tenth of a second.
  const auto ringing = static_cast<std::size_t>(rate_ / 10);
  for (std::size_t i = 0; i < count; ++i) {
    if (level(i) < loudest / 2) continue;
    std::size_t peak = i;
    const std::size_t end = std::min(count, i + ringing);
    for (; i < end; ++i) {
      if (level(i) > level(peak)) peak = i;
    }
    times.push_back(TimeOf(peak));
  }
  return times;
}

}  // namespace test
