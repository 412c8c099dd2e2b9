// Decoded frames as an encoder wants them.
#pragma once

#include "media/handles.h"
#include "transcode/orientation.h"

namespace mpg {

/// Red, green and blue, also from a palette.
bool IsRgb(AVPixelFormat format);

/// Frames with full range: black is 0, white the highest number. Grey is, unless told otherwise.
bool IsFullRange(AVPixelFormat format, AVColorRange range);

/// The same format without a range of its own: FFmpeg's YUVJ formats are full range by name.
AVPixelFormat WithoutRange(AVPixelFormat format);

/// Colour matrix of frames of that height which don't tell theirs: BT.709 from 720 lines on, else
/// BT.601.
AVColorSpace MatrixBySize(int height);

class FrameConverter {
 public:
  /// The encoder, filled in, must outlive this. Its size is that of the frames as turned.
  FrameConverter(const AVCodecContext& encoder, Orientation orientation)
      : encoder_(encoder), orientation_(orientation) {}

  /// The frame itself where it is as it should be, else a converted one that holds until the next
  /// call: scaled (interlaced ones field by field), its colours converted, turned. Throws Error.
  AVFrame& Convert(AVFrame& frame);

 private:
  struct Layout {
    int width, height;
    AVPixelFormat format;  // without range
    bool isFullRange;
    AVColorSpace matrix;

    friend bool operator==(const Layout&, const Layout&) = default;
  };

  static Layout LayoutOf(const AVFrame& frame);
  Layout Wanted() const;
  void Scale(const AVFrame& from, const Layout& source, const Layout& target);
  void PrepareScaler(const Layout& source, const Layout& target);
  FramePtr MakeConverted(const AVFrame& from, int width, int height) const;

  const AVCodecContext& encoder_;
  const Orientation orientation_;
  ScalerPtr scaler_;
  Layout scalerSource_{}, scalerTarget_{};  // what it was made for
  FramePtr scaled_;
  FramePtr turned_;
};

}  // namespace mpg
