// What the ffprobe and ffmpeg programs say of a file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace test {

struct Packet {
  std::optional<double> pts;  // seconds
  std::optional<double> dts;
  double duration;
  std::int64_t size;
  std::string hash;  // of the payload

  friend bool operator==(const Packet&, const Packet&) = default;
};

/// Packets of a stream in file order; stream as ffprobe names it ("v:0", "a:0", "1").
std::vector<Packet> ReadPackets(const std::string& path, const std::string& stream);

/// The payloads' hashes alone, in file order.
std::vector<std::string> ReadPayloads(const std::string& path, const std::string& stream);

/// One value as ffprobe prints it, such as Probe(path, "format=duration") or
/// Probe(path, "stream=codec_name", "a:0"). Several come a line each.
std::string Probe(const std::string& path, const std::string& entries,
                  const std::string& stream = "");

/// What the ffmpeg program complains of while it decodes all of a file; empty when it plays.
std::string DecodingErrors(const std::string& path);

}  // namespace test
