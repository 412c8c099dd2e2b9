#include "support/media.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "support/places.h"
#include "support/process.h"
#include "support/system.h"

namespace test {
namespace {

// Tests may run side by side: a file appears under its name only when it is whole.
void Make(const std::string& path, const std::string& name, const std::string& arguments) {
  const std::string unfinished = path + "." + std::to_string(ProcessId()) + "-" + name;
  const ProcessResult made =
      RunProgram("ffmpeg -v error -y -threads 1 " + arguments +
                 " -fflags +bitexact -flags:v +bitexact -flags:a +bitexact " + Quoted(unfinished));
  if (made.status != 0) throw std::runtime_error("ffmpeg " + arguments + ": " + made.output);
  std::filesystem::rename(unfinished, path);
}

std::string Tone(double seconds) {
  return "-f lavfi -i sine=frequency=440:sample_rate=48000 -ac 2 -t " + std::to_string(seconds);
}

std::string Pictures(double seconds) {
  return "-f lavfi -i testsrc2=size=320x240:rate=25 -t " + std::to_string(seconds);
}

}  // namespace

std::filesystem::path MediaFolder() {
  return kMediaFolder;
}

std::string MakeMedia(const std::string& name, const std::string& arguments) {
  std::filesystem::create_directories(MediaFolder());
  const std::string file = std::to_string(std::hash<std::string>{}(arguments)) + "-" + name;
  // Written alike on every system, since names are part of the arguments of other files.
  const std::string path = (MediaFolder() / file).generic_string();
  if (!std::filesystem::exists(path)) Make(path, name, arguments);
  return path;
}

std::string H264Video(double seconds, const std::string& extension, const std::string& options) {
  return MakeMedia("h264." + extension,
                   Pictures(seconds) + " -c:v libx264 -preset veryfast " + options);
}

std::string Vp9Video(double seconds) {
  return MakeMedia("vp9.webm",
                   Pictures(seconds) + " -c:v libvpx-vp9 -deadline realtime -cpu-used 8 -b:v 300k");
}

std::string AacAudio(double seconds, const std::string& extension) {
  return MakeMedia("aac." + extension, Tone(seconds) + " -c:a aac -b:a 96k");
}

std::string OpusAudio(double seconds) {
  return MakeMedia("opus.opus", Tone(seconds) + " -c:a libopus -b:a 64k");
}

std::string InFragments(const std::string& input) {
  return MakeMedia(
      "fragments.mp4",
      "-i " + input +
          " -c copy -movflags +empty_moov+default_base_moof+global_sidx -frag_duration 1000000");
}

std::string Ac3Audio() {
  return MakeMedia("ac3.mp4",
                   "-f lavfi -i sine=duration=4:sample_rate=48000 -ac 1 -c:a ac3 -b:a 96k");
}

std::string BreakAc3Frames(std::string content, int first, int count) {
  // At 96 kbit/s and 48 kHz every frame has 384 bytes.
  std::size_t frame =
      content.find("\x0b\x77", content.find("mdat")) + 384u * static_cast<unsigned>(first);
  for (int i = 0; i < count; ++i, frame += 2 * 384) content.at(frame) = 0;
  return content;
}

std::string Retagged(const std::string& path, const std::string& input, const std::string& tag,
                     const std::string& newTag) {
  std::string content = ReadBytes(input);
  for (std::size_t at = 0; (at = content.find(tag, at)) != std::string::npos; at += tag.size()) {
    content.replace(at, tag.size(), newTag);
  }
  WriteBytes(path, content);
  return path;
}

std::string Undecodable(const std::string& path) {
  return Retagged(path, Ac3Audio(), "ac-3", "mhm1");
}

std::string OnlyDecodable(const std::string& path) {
  // Creative's YUV takes any bytes; frames of this size have as many in grey.
  const std::string grey = MakeMedia("grey.avi",
                                     "-f lavfi -i testsrc=s=16x12:d=1 -f lavfi -i sine=d=1 -c:v "
                                     "rawvideo -pix_fmt gray -c:a libmp3lame");
  return Retagged(path, grey, "Y800", "CYUV");
}

std::string DamagedFrames(const std::string& path, const std::string& input, int first, int count) {
  std::string content = ReadBytes(input);
  std::size_t chunk = content.find("movi");
  for (int i = 0; i < first + count; ++i) {
    chunk = content.find("00dc", chunk + 4);
    const auto byte = [&](std::size_t at) -> std::size_t {
      return static_cast<unsigned char>(content.at(chunk + at));
    };
    // The frames' lengths fit 16 bits.
    const std::size_t length = byte(4) | byte(5) << 8;
    if (i >= first) content.replace(chunk + 8, length, length, '\0');
  }
  WriteBytes(path, content);
  return path;
}

std::string InBrokenFragments(const std::string& path, const std::string& input) {
  std::string content = ReadBytes(InFragments(input));
  std::size_t header = 0;
  for (int fragment = 0; fragment < 3; ++fragment) header = content.find("tfhd", header + 1);
  content.at(header + 11) = 99;
  WriteBytes(path, content);
  return path;
}

std::string ReadBytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  // A character at a time takes most of the fault sweeps' time.
  std::string content(file ? std::filesystem::file_size(path) : 0, '\0');
  file.read(content.data(), static_cast<std::streamsize>(content.size()));
  return content;
}

void WriteBytes(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

}  // namespace test
