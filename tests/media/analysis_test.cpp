#include "media/analysis.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "support/media.h"

namespace {

using mpg::Analysis;

std::string Parameters(const mpg::Input& input) {
  std::ostringstream text;
  for (const AVStream* const stream : input.Streams()) {
    const AVCodecParameters& it = *stream->codecpar;
    text << it.codec_id << ' ' << it.codec_tag << ' ' << it.profile << ' ' << it.level << ' '
         << it.width << 'x' << it.height << ' ' << it.sample_rate << ' ' << it.ch_layout.nb_channels
         << ' ' << it.format << ' ' << it.color_range << ' ' << it.color_primaries << ' '
         << it.color_trc << ' ' << it.color_space << ' ' << it.chroma_location << ' '
         << it.field_order << ' ' << it.video_delay << ' ' << it.bits_per_raw_sample << ' '
         << it.bits_per_coded_sample << ' ' << av_q2d(it.sample_aspect_ratio) << ' '
         << av_q2d(stream->sample_aspect_ratio) << ' ' << it.frame_size << ' ' << it.bit_rate << ' '
         << it.extradata_size << ' ' << av_q2d(stream->time_base) << ' '
         << av_q2d(stream->r_frame_rate) << ' ' << av_q2d(stream->avg_frame_rate) << ' '
         << stream->start_time << ' ' << stream->duration << '\n';
  }
  text << input.Duration() << ' ' << input.BitRate() << '\n';
  return text.str();
}

std::string Packets(mpg::Input& input) {
  std::ostringstream text;
  const mpg::PacketPtr packet = mpg::MakePacket();
  while (input.Read(*packet) == 0) {
    text << packet->stream_index << ' ' << packet->pts << ' ' << packet->dts << ' '
         << packet->duration << ' ' << packet->flags << ' ' << packet->pos << ' ' << packet->size
         << '\n';
  }
  return text.str();
}

TEST(Analysis, TellsTheSameWithoutDecoding) {
  const std::string film =
      "-f lavfi -i testsrc2=s=320x240:r=25 -f lavfi -i sine=r=48000 -t 4 -c:a aac -c:v ";
  const struct {
    const char* name;
    const char* options;
    bool isShort = true;
  } kFiles[] = {
      {"b.mp4", "libx264 -bf 2"},
      {"pyramid.mov", "libx264 -bf 5 -g 12 -x264-params b-pyramid=normal"},
      {"fields.mp4", "libx264 -flags +ilme+ildct"},
      {"plain.mp4", "libx264 -bf 0 -movflags faststart -video_track_timescale 1000"},
      {"shape.mp4", "libx264 -vf setsar=4/3 -color_primaries bt709 -color_trc bt709"},
      {"fragments.mp4", "libx264 -bf 3 -movflags frag_keyframe+empty_moov"},
      {"pieces.mp4", "libx264 -movflags frag_keyframe+empty_moov+default_base_moof+delay_moov"},
      {"cropped.mp4",
       "libx264 -bsf:v h264_metadata=crop_right=16:crop_bottom=8:sample_aspect_ratio=4/3"},
      {"one.mp4", "libx264 -frames:v 1"},
      {"inside.mp4", "libx264 -bsf:v dump_extra", false},
      {"hevc.mp4", "libx265 -x265-params log-level=none -tag:v hvc1"},
      {"mpeg4.mp4", "mpeg4 -bf 2"},
      {"film.mkv", "libx264 -bf 2", false},
      {"film.ts", "libx264 -bf 2", false},
      {"film.flv", "libx264 -bf 2", false},
  };
  for (const auto& file : kFiles) {
    SCOPED_TRACE(file.name);
    const std::string path = test::MakeMedia(file.name, film + file.options);
    mpg::Input whole = mpg::OpenInput(path.c_str());
    mpg::Input other = mpg::OpenInput(path.c_str(), Analysis::kWithoutDecoding);
    EXPECT_EQ(Parameters(other), Parameters(whole));
    EXPECT_EQ(Packets(other), Packets(whole));
    EXPECT_EQ(other.Examined() == Analysis::kWithoutDecoding, file.isShort);
  }
}

}  // namespace
