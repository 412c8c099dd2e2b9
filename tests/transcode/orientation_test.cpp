#include "transcode/orientation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "media/handles.h"

namespace mpg {
namespace {

FramePtr MakeVideoFrame(AVPixelFormat format, int width, int height) {
  FramePtr frame = MakeFrame();
  frame->format = format;
  frame->width = width;
  frame->height = height;
  Check(av_frame_get_buffer(frame.get(), 0));
  return frame;
}

// A quarter turn to the right: the left column, from the bottom up, is the top row.
TEST(Turn, MovesWholePixelsOfEverySize) {
  constexpr Orientation kToTheRight{.swapsSides = true, .mirrorsX = true};
  for (const auto& [format, bytes] : {std::pair{AV_PIX_FMT_GRAY8, 1},
                                      {AV_PIX_FMT_GRAY16LE, 2},
                                      {AV_PIX_FMT_RGB24, 3},
                                      {AV_PIX_FMT_RGBA, 4},
                                      {AV_PIX_FMT_RGB48LE, 6},
                                      {AV_PIX_FMT_RGBA64LE, 8}}) {
    ASSERT_TRUE(CanTurn(format, kToTheRight)) << bytes;
    // Pixels 0, 1, 2 above 3, 4, 5; each with a byte of its own at its end.
    const FramePtr frame = MakeVideoFrame(format, 3, 2), turned = MakeVideoFrame(format, 2, 3);
    for (int i = 0; i < 6; ++i) {
      std::uint8_t* const pixel = frame->data[0] + i / 3 * frame->linesize[0] + i % 3 * bytes;
      std::fill_n(pixel, bytes, std::uint8_t{0});
      pixel[bytes - 1] = static_cast<std::uint8_t>(i);
    }
    Turn(*frame, kToTheRight, *turned);
    std::vector<int> pixels;
    for (int i = 0; i < 6; ++i) {
      pixels.push_back(turned->data[0][i / 2 * turned->linesize[0] + (i % 2 + 1) * bytes - 1]);
    }
    EXPECT_EQ(pixels, (std::vector{3, 0, 4, 1, 5, 2})) << bytes;
  }
}

}  // namespace
}  // namespace mpg
