#include <sstream>

#include "support/kit.h"

namespace {

// All but the bit rates of streams.
std::string Describe(const MediaInfo& info) {
  std::ostringstream text;
  text << info.duration << " s " << info.bitRate << " bit/s";
  text << ", " << info.videoStreams << " video " << info.width << 'x' << info.height << ' '
       << info.frameRate << "/s " << info.videoDuration << " s " << info.videoCodec
       << info.videoSampleFormat;
  text << ", " << info.audioStreams << " audio " << info.channels << 'x' << info.sampleRate << ' '
       << info.audioDuration << " s " << info.audioCodec << ' ' << info.sampleFormat;
  return text.str();
}

// A file in which the codec of the first audio is unknown, and so is its sample rate.
std::string WithoutDecoder(const test::ScratchFolder& folder) {
  const std::string video = test::H264Video(), mono = test::Ac3Audio(), stereo = test::AacAudio();
  std::string file =
      test::ReadBytes(test::MakeMedia("two.mkv", "-i " + video + " -i " + mono + " -i " + stereo +
                                                     " -map 0 -map 0 -map 1 -map 2 -c copy"));
  const std::size_t codec = file.find("A_AC3");
  file.replace(codec, 5, "A_XX3");
  file.replace(file.find("\xB5\x88", codec) + 2, 8, 8, '\0');
  test::WriteBytes(folder / "two.mkv", file);
  return folder / "two.mkv";
}

TEST(MediaInfo, TellsWhatAFileHoldsAndZeroOfTheRest) {
  const test::ScratchFolder folder;
  const std::string silent = test::H264Video();
  struct Case {
    std::string path;
    std::int32_t audioDuration;
    const char* expected;
  };
  const Case cases[] = {
      // Seconds are cut off; an MP4 header tells no bit rate.
      {test::MakeMedia("both.mp4",
                       "-f lavfi -i testsrc2=size=642x362:rate=30000/1001:duration=3.9 -f lavfi -i "
                       "sine=sample_rate=44100:duration=2.95 -ac 2 -c:v libx264 -preset veryfast "
                       "-bf 2 -c:a aac"),
       2, "3 s 0 bit/s, 1 video 642x362 29.97/s 3 s H264, 1 audio 2x44100 2 s AAC FLTP"},
      {silent, 0, "2 s 0 bit/s, 1 video 320x240 25/s 2 s H264, 0 audio 0x0 0 s  "},
      {test::MakeMedia("pcm.wav", "-f lavfi -i sine=duration=2 -c:a pcm_s16le"), 2,
       "2 s 0 bit/s, 0 video 0x0 0/s 0 s , 1 audio 1x44100 2 s PCM_S16LE S16"},
      {test::MakeMedia("raw.h264", "-i " + silent + " -c copy"), 0,
       "0 s 0 bit/s, 1 video 320x240 25/s 0 s H264, 0 audio 0x0 0 s  "},
      // A stream's own length is unknown in Matroska; the file's stands for it.
      {test::AacAudio(2, "mka"), 2,
       "2 s 0 bit/s, 0 video 0x0 0/s 0 s , 1 audio 2x48000 0 s AAC FLTP"},
      {WithoutDecoder(folder), 4,
       "4 s 0 bit/s, 2 video 320x240 25/s 0 s H264, 2 audio 2x48000 0 s AAC FLTP"},
      {test::Undecodable(folder / "mpeg-h.mp4"), 3,
       "3 s 0 bit/s, 0 video 0x0 0/s 0 s , 1 audio 0x48000 3 s MPEGH_3D_AUDIO "},
      // Whatever the container says of the size.
      {test::MakeMedia("cropped.mp4", "-i " + silent +
                                          " -c copy -bsf:v "
                                          "h264_metadata=crop_right=16:crop_bottom=8"),
       0, "2 s 0 bit/s, 1 video 304x232 25/s 2 s H264, 0 audio 0x0 0 s  "},
  };
  for (const Case& c : cases) {
    MediaInfo info;
    EXPECT_EQ(MPG_GetMediaInfo(c.path.c_str(), &info), 1) << c.path;
    EXPECT_EQ(Describe(info), c.expected) << c.path;
    // Without audio it is what the header tells: of MP4 FFmpeg 7 takes nothing from there.
    if (info.audioStreams == 0) continue;
    EXPECT_EQ(MPG_GetAudioDuration(c.path.c_str()), c.audioDuration) << c.path;
  }
}

TEST(MediaInfo, TellsTheBitRatesOfStreams) {
  const std::string film = test::MakeMedia(
      "rates.avi", "-f lavfi -i testsrc2=d=2 -f lavfi -i sine=d=2 -c:v mpeg4 -c:a pcm_s16le");
  MediaInfo info;
  ASSERT_EQ(MPG_GetMediaInfo(film.c_str(), &info), 1);
  EXPECT_EQ(info.audioBitRate, 705600);
  EXPECT_GT(info.videoBitRate, 10000);
}

}  // namespace
