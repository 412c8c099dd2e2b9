#include "support/pictures.h"

#include <cmath>
#include <cstddef>
#include <iterator>
#include <numeric>
#include <sstream>

#include "support/judges.h"
#include "support/media.h"
#include "support/probe.h"

namespace test {
namespace {

constexpr int kWidth = 64;
constexpr int kHeight = 48;

int Digit(unsigned char grey) {
  return static_cast<int>(std::lround(grey * 219.0 / 255.0 / 20.0));
}

int NumberOf(unsigned char tens, unsigned char units) {
  return 10 * Digit(tens) + Digit(units);
}

}  // namespace

std::string NumberedPictures() {
  // The white border keeps pictures such as 0 and 11 from being of one colour.
  return "-f lavfi -i \"nullsrc=size=64x48:rate=25:duration=4,"
         "geq=lum='if(lt(X,24),16+20*floor(N/"
         "10),if(lt(X,48),16+20*mod(N,10),235))':cb=128:cr=128\" ";
}

std::string NumberedVideo(const std::string& name, const std::string& options) {
  return MakeMedia(name, NumberedPictures() + options);
}

std::vector<int> PictureOrder(const std::string& path) {
  const std::string pixels = AskForBytes("ffmpeg -v error -i", path,
                                         "-map 0:v:0 -fps_mode passthrough -vf "
                                         "scale=64:48:flags=neighbor,format=gray -f rawvideo");
  std::vector<int> numbers;
  constexpr std::size_t kMiddle = kHeight / 2 * kWidth;
  for (std::size_t start = 0; start + kWidth * kHeight <= pixels.size();
       start += kWidth * kHeight) {
    numbers.push_back(NumberOf(static_cast<unsigned char>(pixels[start + kMiddle + 12]),
                               static_cast<unsigned char>(pixels[start + kMiddle + 36])));
  }
  return numbers;
}

std::vector<int> Numbers(int first, int last) {
  std::vector<int> numbers(static_cast<std::size_t>(last - first + 1));
  std::iota(numbers.begin(), numbers.end(), first);
  return numbers;
}

std::vector<double> FrameTimes(const std::string& path) {
  std::istringstream lines(Probe(path, "frame=best_effort_timestamp_time", "v:0"));
  return {std::istream_iterator<double>(lines), {}};
}

int PictureNumber(const unsigned char* pixels) {
  constexpr int kMiddle = kHeight / 2 * kWidth;
  return NumberOf(pixels[3 * (kMiddle + 12)], pixels[3 * (kMiddle + 36)]);
}

std::string Pixels(const std::string& path, const std::string& inputOptions) {
  return AskForBytes("ffmpeg -v error " + inputOptions + " -i", path,
                     "-frames:v 1 -pix_fmt rgb24 -f rawvideo");
}

double Psnr(const std::string& a, const std::string& b) {
  if (a.size() != b.size() || a.empty()) return 0;
  double squares = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const int difference = static_cast<unsigned char>(a[i]) - static_cast<unsigned char>(b[i]);
    squares += difference * difference;
  }
  return 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.size()) / (squares + 1e-9));
}

}  // namespace test
