// Videos whose pictures tell their numbers.
#pragma once

#include <string>
#include <vector>

namespace test {

/// Numbers stay legible, and key pictures come where they are asked for.
inline constexpr const char* kCrispH264 = "-c:v libx264 -qp 4 -sc_threshold 0 ";

/// ffmpeg arguments for 100 pictures of 64 x 48, 25 a second, numbered from 0: tens and units are
/// two greys. The encoder's arguments follow.
std::string NumberedPictures();

/// A file of them; `options` choose the codec and may add inputs and maps.
std::string NumberedVideo(const std::string& name, const std::string& options);

/// The numbers of a file's pictures, as the ffmpeg program shows them; 64 x 48 or scaled.
std::vector<int> PictureOrder(const std::string& path);

/// Those of the first to the last, both included, where no picture is missing.
std::vector<int> Numbers(int first, int last);

/// When each is shown, in seconds.
std::vector<double> FrameTimes(const std::string& path);

/// The number of a 64 x 48 picture, read from packed 24-bit pixels.
int PictureNumber(const unsigned char* pixels);

/// A file's first picture as packed red, green and blue bytes; empty when it doesn't decode.
std::string Pixels(const std::string& path, const std::string& inputOptions = "");

/// Peak signal-to-noise ratio in decibels; 0 for pictures of different size.
double Psnr(const std::string& a, const std::string& b);

}  // namespace test
