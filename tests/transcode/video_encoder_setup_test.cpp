#include "transcode/video_encoder_setup.h"

#include <gtest/gtest.h>

#include <vector>

#include "media/ffmpeg_versions.h"

namespace mpg {
namespace {

// Which of the source's side data a re-encoded stream has.
std::vector<int> KeptSideData(const char* muxerName) {
  const AVOutputFormat& muxer = *av_guess_format(muxerName, nullptr, nullptr);
  const OutputContextPtr file(avformat_alloc_context());
  AVStream& source = *avformat_new_stream(file.get(), nullptr);
  AVStream& target = *avformat_new_stream(file.get(), nullptr);
  std::int32_t matrix[9] = {0, 1 << 16, 0, -(1 << 16), 0, 0, 0, 0, 1 << 30};
  for (const AVPacketSideDataType type : {AV_PKT_DATA_DISPLAYMATRIX, AV_PKT_DATA_CPB_PROPERTIES,
                                          AV_PKT_DATA_MASTERING_DISPLAY_METADATA,
                                          AV_PKT_DATA_CONTENT_LIGHT_LEVEL, AV_PKT_DATA_DOVI_CONF}) {
    AddSideData(
        source,
        {.data = reinterpret_cast<std::uint8_t*>(matrix), .size = sizeof matrix, .type = type});
  }
  const CodecPtr encoder = MakeEncoder(AV_CODEC_ID_FFV1);
  encoder->width = encoder->height = 64;
  DescribeVideoEncoder(*encoder, source, muxer, {1, 25}, target);
  std::vector<int> types;
  for (const AVPacketSideData& entry : SideData(target)) types.push_back(entry.type);
  return types;
}

TEST(DescribeVideoEncoder, KeepsSideDataThatIsTrueOfReencodedFrames) {
  const std::vector<int> ofFrames{AV_PKT_DATA_MASTERING_DISPLAY_METADATA,
                                  AV_PKT_DATA_CONTENT_LIGHT_LEVEL};
  std::vector<int> withMatrix = ofFrames;
  withMatrix.insert(withMatrix.begin(), AV_PKT_DATA_DISPLAYMATRIX);
  EXPECT_EQ(KeptSideData("mp4"), withMatrix);
  EXPECT_EQ(KeptSideData("avi"), ofFrames);
}

// At their default speed they take minutes for seconds.
TEST(MakeVideoEncoder, AsksVp9ForSpeed) {
  const OutputContextPtr file(avformat_alloc_context());
  AVStream& source = *avformat_new_stream(file.get(), nullptr);
  source.time_base = {1, 25};
  const CodecPtr decoder = MakeEncoder(AV_CODEC_ID_FFV1);
  decoder->width = decoder->height = 64;
  decoder->pix_fmt = AV_PIX_FMT_YUV420P;
  const CodecPtr encoder = MakeVideoEncoder({.source = source,
                                             .decoder = *decoder,
                                             .codecId = AV_CODEC_ID_VP9,
                                             .muxer = *av_guess_format("webm", nullptr, nullptr),
                                             .fileBitRate = 0});
  std::int64_t speed = 0;
  ASSERT_EQ(av_opt_get_int(encoder->priv_data, "cpu-used", 0, &speed), 0);
  EXPECT_EQ(speed, 2);
}

}  // namespace
}  // namespace mpg
