#include "transcode/orientation.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "media/ffmpeg_versions.h"

namespace mpg {
namespace {

// Of a display matrix the four factors that turn; it has nine numbers.
constexpr std::size_t kMatrixSize = 9 * sizeof(std::int32_t);

// Angles between the right ones become the next of these.
Orientation FromMatrix(const std::uint8_t* data) {
  std::array<std::int32_t, 9> matrix{};
  std::memcpy(matrix.data(), data, kMatrixSize);
  // As FFmpeg's documentation has it: x' = a x + c y, y' = b x + d y.
  const std::int64_t a = matrix[0], b = matrix[1], c = matrix[3], d = matrix[4];
  if (std::abs(b) > std::abs(a)) return {.swapsSides = true, .mirrorsX = c < 0, .mirrorsY = b < 0};
  return {.mirrorsX = a < 0, .mirrorsY = d < 0};
}

bool TellsOrientation(const AVOutputFormat& muxer) {
  constexpr std::string_view kMuxers[] = {"mp4", "mov", "3gp", "3g2", "ipod", "psp", "f4v", "ismv"};
  return std::ranges::count(kMuxers, muxer.name) > 0;
}

struct Plane {
  const std::uint8_t* from;
  std::ptrdiff_t fromStride;
  std::uint8_t* to;
  std::ptrdiff_t toStride;
  int width;  // of the turned plane, in samples
  int height;
};

template <std::size_t kBytes>
void TurnPlane(const Plane& plane, Orientation orientation) {
  // Columns that are read stay in the cache from row to row.
  constexpr int kBlock = 32;
  constexpr auto kStep = static_cast<std::ptrdiff_t>(kBytes);
  const std::ptrdiff_t stepX = orientation.swapsSides ? plane.fromStride : kStep;
  const std::ptrdiff_t stepY = orientation.swapsSides ? kStep : plane.fromStride;
  for (int begin = 0; begin < plane.width; begin += kBlock) {
    const int end = std::min(begin + kBlock, plane.width);
    for (int y = 0; y < plane.height; ++y) {
      const int fromY = orientation.mirrorsY ? plane.height - 1 - y : y;
      const std::uint8_t* const row = plane.from + fromY * stepY;
      std::uint8_t* const target = plane.to + y * plane.toStride;
      for (int x = begin; x < end; ++x) {
        const int fromX = orientation.mirrorsX ? plane.width - 1 - x : x;
        std::memcpy(target + x * kStep, row + fromX * stepX, kBytes);
      }
    }
  }
}

}  // namespace

Orientation OrientationToApply(const AVStream& source, const AVOutputFormat& muxer) {
  if (TellsOrientation(muxer)) return {};
  for (const AVPacketSideData& entry : SideData(source)) {
    if (entry.type == AV_PKT_DATA_DISPLAYMATRIX && entry.size >= kMatrixSize) {
      return FromMatrix(entry.data);
    }
  }
  return {};
}

bool CanTurn(AVPixelFormat format, Orientation orientation) {
  const AVPixFmtDescriptor* const description = av_pix_fmt_desc_get(format);
  if (orientation.IsUpright()) return true;
  if (description == nullptr) return false;
  constexpr std::uint64_t kNoSamples =
      AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_HWACCEL;
  if ((description->flags & kNoSamples) != 0) return false;
  if (orientation.swapsSides && description->log2_chroma_w != description->log2_chroma_h) {
    return false;
  }
  // Packed formats with fewer colour samples have steps of their own for these.
  std::array<int, 4> steps{};
  for (int i = 0; i < description->nb_components; ++i) {
    const AVComponentDescriptor& component = description->comp[i];
    int& step = steps[static_cast<std::size_t>(component.plane)];
    if (step != 0 && step != component.step) return false;
    step = component.step;
    if (step > 4 && step != 6 && step != 8) return false;
  }
  return true;
}

void Turn(const AVFrame& from, Orientation orientation, AVFrame& to) {
  const AVPixFmtDescriptor& description =
      *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(from.format));
  std::array<bool, 4> done{};
  for (int i = 0; i < description.nb_components; ++i) {
    const AVComponentDescriptor& component = description.comp[i];
    const auto index = static_cast<std::size_t>(component.plane);
    if (std::exchange(done[index], true)) continue;
    const bool isColour = (i == 1 || i == 2) && (description.flags & AV_PIX_FMT_FLAG_RGB) == 0;
    const Plane plane{
        .from = from.data[index],
        .fromStride = from.linesize[index],
        .to = to.data[index],
        .toStride = to.linesize[index],
        .width = AV_CEIL_RSHIFT(to.width, isColour ? description.log2_chroma_w : 0),
        .height = AV_CEIL_RSHIFT(to.height, isColour ? description.log2_chroma_h : 0)};
    switch (component.step) {
      case 1:
        TurnPlane<1>(plane, orientation);
        break;
      case 2:
        TurnPlane<2>(plane, orientation);
        break;
      case 3:
        TurnPlane<3>(plane, orientation);
        break;
      case 4:
        TurnPlane<4>(plane, orientation);
        break;
      case 6:
        TurnPlane<6>(plane, orientation);
        break;
      default:
        TurnPlane<8>(plane, orientation);
    }
  }
}

}  // namespace mpg
