#include "image/jpeg_scalar_model.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <string>
#include <utility>

namespace mpg::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

const int kLuminance[64] = {16, 11, 10, 16, 24,  40,  51,  61,  12, 12, 14, 19, 26,  58,  60,  55,
                            14, 13, 16, 24, 40,  57,  69,  56,  14, 17, 22, 29, 51,  87,  80,  62,
                            18, 22, 37, 56, 68,  109, 103, 77,  24, 35, 55, 64, 81,  104, 113, 92,
                            49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99};

// The chrominance table is 99 outside this corner.
const int kChrominanceCorner[4][4] = {
    {17, 18, 24, 47}, {18, 21, 26, 66}, {24, 26, 56, 99}, {47, 66, 99, 99}};

struct HuffmanTable {
  Bytes lengthCounts;
  Bytes symbols;
  std::array<std::pair<unsigned, int>, 256> codes{};
};

Bytes FromHex(const std::string& hex) {
  Bytes bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes.push_back(static_cast<std::uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

HuffmanTable MakeTable(const std::string& lengthCounts, const std::string& symbols) {
  HuffmanTable table{FromHex(lengthCounts), FromHex(symbols)};
  unsigned code = 0;
  std::size_t next = 0;
  for (int length = 1; length <= 16; ++length) {
    for (int i = 0; i < table.lengthCounts[static_cast<std::size_t>(length - 1)]; ++i) {
      table.codes[table.symbols[next++]] = {code++, length};
    }
    code *= 2;
  }
  return table;
}

const char kAcLuminanceSymbols[] =
    "01020300041105122131410613516107227114328191a1082342b1c11552d1f02433627282090a161718191a25"
    "262728292a3435363738393a434445464748494a535455565758595a636465666768696a737475767778797a83"
    "8485868788898a92939495969798999aa2a3a4a5a6a7a8a9aab2b3b4b5b6b7b8b9bac2c3c4c5c6c7c8c9cad2d3"
    "d4d5d6d7d8d9dae1e2e3e4e5e6e7e8e9eaf1f2f3f4f5f6f7f8f9fa";
const char kAcChrominanceSymbols[] =
    "000102031104052131061241510761711322328108144291a1b1c109233352f0156272d10a162434e125f11718"
    "191a262728292a35363738393a434445464748494a535455565758595a636465666768696a737475767778797a"
    "82838485868788898a92939495969798999aa2a3a4a5a6a7a8a9aab2b3b4b5b6b7b8b9bac2c3c4c5c6c7c8c9ca"
    "d2d3d4d5d6d7d8d9dae2e3e4e5e6e7e8e9eaf2f3f4f5f6f7f8f9fa";
const char kDcSymbols[] = "000102030405060708090a0b";
const HuffmanTable kDcLuminance = MakeTable("00010501010101010100000000000000", kDcSymbols);
const HuffmanTable kDcChrominance = MakeTable("00030101010101010101010000000000", kDcSymbols);
const HuffmanTable kAcLuminance =
    MakeTable("0002010303020403050504040000017d", kAcLuminanceSymbols);
const HuffmanTable kAcChrominance =
    MakeTable("00020102040403040705040400010277", kAcChrominanceSymbols);

// Walks the diagonals instead of listing them.
std::array<int, 64> MakeZigZag() {
  std::array<int, 64> order{};
  std::size_t position = 0;
  for (int sum = 0; sum <= 14; ++sum) {
    for (int step = 0; step <= sum; ++step) {
      const int row = sum % 2 == 0 ? sum - step : step;
      const int column = sum - row;
      if (row < 8 && column < 8) order[position++] = row * 8 + column;
    }
  }
  return order;
}
const std::array<int, 64> kOrder = MakeZigZag();

class Model {
 public:
  Model(const Bytes& pixels, int width, int height, int quality)
      : pixels_(pixels), width_(width), height_(height) {
    const int factor = quality <= 1    ? 5000
                       : quality < 50  ? 5000 / quality
                       : quality < 100 ? 200 - 2 * quality
                                       : 0;
    const float scale[8] = {1.0f, 1.3870399f,  1.306563f,  1.1758755f,
                            1.0f, 0.78569496f, 0.5411961f, 0.27589938f};
    for (std::size_t i = 0; i < 64; ++i) {
      const int n = kOrder[i];
      const int row = n / 8;
      const int column = n % 8;
      const int chrominance = row < 4 && column < 4 ? kChrominanceCorner[row][column] : 99;
      entries_[0][i] = std::clamp((kLuminance[n] * factor + 50) / 100, 1, 255);
      entries_[1][i] = std::clamp((chrominance * factor + 50) / 100, 1, 255);
      const float d = 1.0f / (scale[row] * scale[column] * 8.0f);
      for (auto table : {0u, 1u}) {
        reciprocals_[table][n] = d / static_cast<float>(entries_[table][i]);
      }
    }
  }

  Bytes Encode() {
    Send(FromHex("ffd8ffe000104a46494600010100000100010000fffe0019"));
    const std::string comment = "Zorvi image compression";
    Send(Bytes(comment.begin(), comment.end()));
    Send(FromHex("ffdb0084"));
    for (const std::size_t table : {0u, 1u}) {
      Send({static_cast<std::uint8_t>(table)});
      for (const int entry : entries_[table]) Send({static_cast<std::uint8_t>(entry)});
    }
    Send(FromHex("ffc0001108"));
    for (const int side : {height_, width_}) {
      Send({static_cast<std::uint8_t>(side >> 8), static_cast<std::uint8_t>(side & 255)});
    }
    Send(FromHex("03011100021101031101ffc401a2"));
    SendTable(0x00, kDcLuminance);
    SendTable(0x10, kAcLuminance);
    SendTable(0x01, kDcChrominance);
    SendTable(0x11, kAcChrominance);
    Send(FromHex("ffda000c03010002110311003f00"));
    for (int y = 0; y < height_; y += 8) {
      for (int x = 0; x < width_; x += 8) EncodeArea(x, y);
    }
    Write(0x7f, 7);
    Send({0xff, 0xd9});
    return out_;
  }

 private:
  void Send(const Bytes& bytes) { out_.insert(out_.end(), bytes.begin(), bytes.end()); }

  void SendTable(std::uint8_t id, const HuffmanTable& table) {
    Send({id});
    Send(table.lengthCounts);
    Send(table.symbols);
  }

  void Write(unsigned code, int length) {
    for (int bit = length - 1; bit >= 0; --bit) {
      pending_ = pending_ * 2 + ((code >> bit) & 1u);
      if (++pendingCount_ < 8) continue;
      Send({static_cast<std::uint8_t>(pending_)});
      if (pending_ == 0xff) Send({0});
      pending_ = 0;
      pendingCount_ = 0;
    }
  }

  void EncodeArea(int x0, int y0) {
    float luma[64];
    float blue[64];
    float red[64];
    for (int i = 0; i < 64; ++i) {
      const int y = std::min(y0 + i / 8, height_ - 1);
      const int x = std::min(x0 + i % 8, width_ - 1);
      const std::size_t at = (static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
                              static_cast<std::size_t>(x)) *
                             3;
      const float r = pixels_[at];
      const float g = pixels_[at + 1];
      const float b = pixels_[at + 2];
      luma[i] = r * 0.299f + g * 0.587f + b * 0.114f - 128.0f;
      blue[i] = r * -0.16874f - g * 0.33126f + b * 0.5f;
      red[i] = r * 0.5f - g * 0.41869f - b * 0.08131f;
    }
    EncodeComponent(luma, reciprocals_[0], predictors_[0], kDcLuminance, kAcLuminance);
    EncodeComponent(blue, reciprocals_[1], predictors_[1], kDcChrominance, kAcChrominance);
    EncodeComponent(red, reciprocals_[1], predictors_[2], kDcChrominance, kAcChrominance);
  }

  static void Transform(float* x, int stride) {
    auto at = [x, stride](int i) -> float& { return x[i * stride]; };
    const float t0 = at(0) + at(7), t7 = at(0) - at(7), t1 = at(1) + at(6), t6 = at(1) - at(6);
    const float t2 = at(2) + at(5), t5 = at(2) - at(5), t3 = at(3) + at(4), t4 = at(3) - at(4);
    const float p = t0 + t3, q = t0 - t3, u = t1 + t2, w = t1 - t2;
    at(0) = p + u;
    at(4) = p - u;
    const float z1 = (w + q) * 0.70710677f;
    at(2) = q + z1;
    at(6) = q - z1;
    const float s = t4 + t5, m = t5 + t6, k = t6 + t7;
    const float z5 = (s - k) * 0.38268343f;
    const float z2 = s * 0.5411961f + z5, z4 = k * 1.306563f + z5, z3 = m * 0.70710677f;
    const float z11 = t7 + z3, z13 = t7 - z3;
    at(5) = z13 + z2;
    at(3) = z13 - z2;
    at(1) = z11 + z4;
    at(7) = z11 - z4;
  }

  void WriteValue(int value, int run, const HuffmanTable& table) {
    const int magnitude = std::abs(value);
    int category = 0;
    while (magnitude >> category) ++category;
    const auto [code, length] = table.codes.at(static_cast<std::size_t>(run * 16 + category));
    if (length == 0) std::abort();  // a value that the tables have no code for
    Write(code, length);
    const int bits = value < 0 ? value + (1 << category) - 1 : value;
    Write(static_cast<unsigned>(bits), category);
  }

  void EncodeComponent(float* block, const float* reciprocals, int& predictor,
                       const HuffmanTable& dc, const HuffmanTable& ac) {
    for (int row = 0; row < 8; ++row) Transform(block + row * 8, 1);
    for (int column = 0; column < 8; ++column) Transform(block + column, 8);
    int quantized[64];
    for (std::size_t i = 0; i < 64; ++i) {
      const float value = block[kOrder[i]] * reciprocals[kOrder[i]];
      const float biased = value >= 0.0f ? value + 0.5f : value - 0.5f;
      quantized[i] = static_cast<int>(biased);
    }
    const int difference = quantized[0] - predictor;
    predictor = quantized[0];
    WriteValue(difference, 0, dc);
    int last = 63;
    while (last > 0 && quantized[last] == 0) --last;
    int run = 0;
    for (int i = 1; i <= last; ++i) {
      if (quantized[i] == 0) {
        if (++run == 16) WriteValue(0, 15, ac), run = 0;
      } else {
        WriteValue(quantized[i], run, ac);
        run = 0;
      }
    }
    if (last < 63) WriteValue(0, 0, ac);
  }

  const Bytes& pixels_;
  int width_;
  int height_;
  std::array<std::array<int, 64>, 2> entries_{};
  float reciprocals_[2][64];
  int predictors_[3] = {0, 0, 0};
  Bytes out_;
  unsigned pending_ = 0;
  int pendingCount_ = 0;
};

}  // namespace

std::vector<std::uint8_t> EncodeWithModel(const std::vector<std::uint8_t>& pixels, int width,
                                          int height, int quality) {
  return Model(pixels, width, height, quality).Encode();
}

}  // namespace mpg::test
