#include "support/probe.h"

#include <sstream>

#include "support/process.h"

namespace test {
namespace {

// The value of a key in a line of key=value pairs.
std::string Value(const std::string& line, const std::string& key) {
  const std::size_t start = line.find("|" + key + "=");
  if (start == std::string::npos) return "";
  const std::size_t value = start + key.size() + 2;
  return line.substr(value, line.find('|', value) - value);
}

std::optional<double> Seconds(const std::string& text) {
  if (text.empty() || text == "N/A") return std::nullopt;
  return std::stod(text);
}

std::string Trimmed(std::string text) {
  while (text.ends_with('\n')) text.pop_back();
  return text;
}

}  // namespace

std::vector<Packet> ReadPackets(const std::string& path, const std::string& stream) {
  std::istringstream lines(RunProgram("ffprobe -v quiet -select_streams " + stream +
                                      " -show_packets -show_data_hash md5 -of compact " +
                                      Quoted(path))
                               .output);
  std::vector<Packet> packets;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("packet|")) {
      packets.push_back({.pts = Seconds(Value(line, "pts_time")),
                         .dts = Seconds(Value(line, "dts_time")),
                         .duration = Seconds(Value(line, "duration_time")).value_or(0),
                         .size = std::stoll(Value(line, "size")),
                         .hash = {}});
    }
    // On the packet's own line, or on the next where side data stands between.
    const std::string hash = Value(line, "data_hash");
    if (!hash.empty()) packets.back().hash = hash;
  }
  return packets;
}

std::vector<std::string> ReadPayloads(const std::string& path, const std::string& stream) {
  std::vector<std::string> payloads;
  for (const Packet& packet : ReadPackets(path, stream)) payloads.push_back(packet.hash);
  return payloads;
}

std::string Probe(const std::string& path, const std::string& entries, const std::string& stream) {
  const std::string selection = stream.empty() ? "" : " -select_streams " + stream;
  return Trimmed(RunProgram("ffprobe -v quiet" + selection + " -show_entries " + entries +
                            " -of default=nokey=1:noprint_wrappers=1 " + Quoted(path))
                     .output);
}

std::string DecodingErrors(const std::string& path) {
  // In ticks of the usual pictures' length, uneven ones would seem to share a time.
  return RunProgram("ffmpeg -v error -i " + Quoted(path) +
                    " -map 0 -fps_mode passthrough -enc_time_base:v 1:90000 -f null -")
      .output;
}

}  // namespace test
