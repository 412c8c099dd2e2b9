// Media files for the tests. The ffmpeg program makes each on first use; a build folder keeps them.
#pragma once

#include <filesystem>
#include <string>

namespace test {

/// Where what is made or asked once stays. All builds in a clone share it.
std::filesystem::path MediaFolder();

/// Path of a file made with `ffmpeg ARGUMENTS FILE`, bit-exact. The name says what it is and gives
/// the extension; other arguments make another file.
std::string MakeMedia(const std::string& name, const std::string& arguments);

/// Video of 320 x 240 at 25 pictures a second, two seconds unless said otherwise.
std::string H264Video(double seconds = 2, const std::string& extension = "mp4",
                      const std::string& options = "-bf 2 -g 25");
std::string Vp9Video(double seconds = 2);

/// A 440 Hz tone in 48 kHz stereo, two seconds unless said otherwise.
std::string AacAudio(double seconds = 2, const std::string& extension = "m4a");
std::string OpusAudio(double seconds = 2);

/// Four seconds of a tone in mono AC-3, in an MP4 file.
std::string Ac3Audio();
/// The same with its n-th frame, counted from 0, and then every other one without its sync word.
/// FFmpeg's parser appends each to the frame before it, and the decoder refuses both.
std::string BreakAc3Frames(std::string content, int first, int count);

/// A copy of a file in which a codec's tag is exchanged, everywhere.
std::string Retagged(const std::string& path, const std::string& input, const std::string& tag,
                     const std::string& newTag);
/// Audio in a codec that FFmpeg knows (MPEG-H), but doesn't decode.
std::string Undecodable(const std::string& path);
/// A second of video in a codec that FFmpeg decodes, but doesn't encode, and audio.
std::string OnlyDecodable(const std::string& path);
/// A copy of an AVI file of motion JPEG in which some frames' bytes are gone.
std::string DamagedFrames(const std::string& path, const std::string& input, int first, int count);

/// A file's content in MP4 fragments of a second.
std::string InFragments(const std::string& input);
/// Writes the same with a third fragment that speaks of a track that doesn't exist.
std::string InBrokenFragments(const std::string& path, const std::string& input);

/// A file's whole content.
std::string ReadBytes(const std::string& path);

/// A new file of that content.
void WriteBytes(const std::string& path, const std::string& content);

}  // namespace test
