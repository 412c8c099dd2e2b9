#include "transcode/video_encoder_setup.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "media/ffmpeg_versions.h"

namespace mpg {
namespace {

// A stream of 64 x 48 frames that tells neither its bit rate nor its frame rate, and encoders for
// it.
class VideoEncoderSetup : public testing::Test {
 protected:
  VideoEncoderSetup() {
    source_.time_base = {1, 90000};
    decoder_->width = 64;
    decoder_->height = 48;
    decoder_->pix_fmt = AV_PIX_FMT_YUV420P;
  }

  CodecPtr Make(AVCodecID codecId, const char* muxer, std::int64_t fileBitRate = 0) {
    return MakeVideoEncoder({.source = source_,
                             .decoder = *decoder_,
                             .codecId = codecId,
                             .muxer = *av_guess_format(muxer, nullptr, nullptr),
                             .fileBitRate = fileBitRate});
  }

  const OutputContextPtr file_{avformat_alloc_context()};
  AVStream& source_ = *avformat_new_stream(file_.get(), nullptr);
  const CodecPtr decoder_ = MakeEncoder(AV_CODEC_ID_FFV1);
};

TEST_F(VideoEncoderSetup, KeepsSideDataThatIsTrueOfReencodedFrames) {
  std::int32_t matrix[9] = {0, 1 << 16, 0, -(1 << 16), 0, 0, 0, 0, 1 << 30};
  for (const AVPacketSideDataType type : {AV_PKT_DATA_DISPLAYMATRIX, AV_PKT_DATA_CPB_PROPERTIES,
                                          AV_PKT_DATA_MASTERING_DISPLAY_METADATA,
                                          AV_PKT_DATA_CONTENT_LIGHT_LEVEL, AV_PKT_DATA_DOVI_CONF}) {
    AddSideData(
        source_,
        {.data = reinterpret_cast<std::uint8_t*>(matrix), .size = sizeof matrix, .type = type});
  }
  for (const std::string name : {"mp4", "avi"}) {
    const AVOutputFormat& muxer = *av_guess_format(name.c_str(), nullptr, nullptr);
    AVStream& target = *avformat_new_stream(file_.get(), nullptr);
    DescribeVideoEncoder(*Make(AV_CODEC_ID_FFV1, name.c_str()), source_, muxer, {1, 25}, target);
    std::vector<int> types;
    for (const AVPacketSideData& entry : SideData(target)) types.push_back(entry.type);
    std::vector<int> expected{AV_PKT_DATA_MASTERING_DISPLAY_METADATA,
                              AV_PKT_DATA_CONTENT_LIGHT_LEVEL};
    // AVI can't tell it, and the frames are turned.
    if (name == "mp4") expected.insert(expected.begin(), AV_PKT_DATA_DISPLAYMATRIX);
    EXPECT_EQ(types, expected) << name;
  }
}

TEST_F(VideoEncoderSetup, TakesAnUnknownFrameRateFor25) {
  const CodecPtr encoder = Make(AV_CODEC_ID_MPEG4, "mp4");
  EXPECT_EQ(av_cmp_q(encoder->framerate, {25, 1}), 0);
  EXPECT_EQ(av_cmp_q(encoder->time_base, {1, 25}), 0);
}

// Of less than 64 bits a frame, as broken durations give them, or of a still picture.
TEST_F(VideoEncoderSetup, TakesABitRateThatCannotBeForUnknown) {
  EXPECT_EQ(Make(AV_CODEC_ID_H264, "mp4", 64 * 25)->bit_rate, 1600);
  EXPECT_EQ(Make(AV_CODEC_ID_H264, "mp4", 64 * 25 - 1)->bit_rate, 0);
  decoder_->width = 1280;
  decoder_->height = 720;
  source_.codecpar->bit_rate = 3600 * 25 - 1;
  EXPECT_EQ(Make(AV_CODEC_ID_H264, "mp4", 3600 * 25)->bit_rate, 90000);
  EXPECT_EQ(Make(AV_CODEC_ID_H264, "mp4", 3600 * 25 - 1)->bit_rate, 0);
  source_.codecpar->bit_rate = 95000;
  EXPECT_EQ(Make(AV_CODEC_ID_H264, "mp4", 99000)->bit_rate, 95000);
}

// At the default speed seconds take minutes.
TEST_F(VideoEncoderSetup, AsksVp9ForSpeed) {
  std::int64_t speed = 0;
  ASSERT_EQ(av_opt_get_int(Make(AV_CODEC_ID_VP9, "webm")->priv_data, "cpu-used", 0, &speed), 0);
  EXPECT_EQ(speed, 2);
}

}  // namespace
}  // namespace mpg
