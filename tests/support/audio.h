// What a file sounds like, as the ffmpeg program decodes it.
#pragma once

#include <string>
#include <vector>

namespace test {

/// The decoded samples of a file's first audio stream and when each is to be heard.
class Audio {
 public:
  explicit Audio(const std::string& path);

  int Channels() const { return channels_; }
  /// Seconds of audio, gaps not counted.
  double Length() const;
  /// The time of the first sample in seconds.
  double Start() const { return pieces_.front().time; }

  /// Amplitude of a sine in a channel, measured from half a second on for a second.
  double Amplitude(int channel, double frequency) const;
  /// Amplitude of everything in a channel but those sines, over the same time.
  double Rest(int channel, const std::vector<double>& frequencies) const;
  /// Times of the clicks in a channel in seconds: of each loudest sample.
  std::vector<double> Clicks(int channel) const;

 private:
  struct Piece {
    double time;
    std::size_t firstSample;
  };
  double TimeOf(std::size_t sample) const;
  std::vector<double> Window(int channel) const;

  int rate_;
  int channels_;
  std::vector<float> samples_;  // interleaved
  std::vector<Piece> pieces_;
};

}  // namespace test
