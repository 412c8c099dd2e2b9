#include "support/probe.h"

#include <sstream>

#include "support/judges.h"

namespace test {
namespace {

// The value of a key in a line of key=value pairs.
std::string Value(const std::string& line, const std::string& key) {
  std::size_t start = line.find("|" + key + "=");
  // Side data has its kind in front, from FFmpeg 7 on.
  if (start == std::string::npos) start = line.find(":" + key + "=");
  if (start == std::string::npos) return "";
  const std::size_t value = start + key.size() + 2;
  return line.substr(value, line.find('|', value) - value);
}

std::optional<double> Seconds(const std::string& text) {
  if (text.empty() || text == "N/A") return std::nullopt;
  return std::stod(text);
}

// The index of a stream that is named by its number or as the n-th of a kind, such as "a:0".
std::string IndexOf(const std::string& stream, const std::vector<std::string>& records) {
  if (!stream.empty() && stream.find(':') == std::string::npos) return stream;
  int left = stream.empty() ? -1 : std::stoi(stream.substr(2));
  for (const std::string& record : records) {
    if (record.starts_with("stream|") && Value(record, "codec_type")[0] == stream[0] && left-- == 0)
      return Value(record, "index");
  }
  return "";
}

// The format, the streams, packets or frames of a file: "section|key=value|...". All in one go, so
// that a test that asks again finds the answer.
std::vector<std::string> Records(const std::string& path, const std::string& section,
                                 const std::string& stream) {
  std::istringstream lines(
      Ask("ffprobe -v quiet -of compact -show_format -show_streams -show_packets -show_frames "
          "-show_data_hash md5",
          path));
  std::vector<std::string> records;
  for (std::string line; std::getline(lines, line);) {
    // Side data breaks the line.
    if (line.starts_with('|')) {
      records.back() += line;
    } else {
      records.push_back(line);
    }
  }
  const std::string index = IndexOf(stream, records);
  std::erase_if(records, [&](const std::string& record) {
    return !record.starts_with(section + "|") ||
           (!stream.empty() &&
            Value(record, section == "stream" ? "index" : "stream_index") != index);
  });
  return records;
}

}  // namespace

std::vector<Packet> ReadPackets(const std::string& path, const std::string& stream) {
  std::vector<Packet> packets;
  for (const std::string& record : Records(path, "packet", stream)) {
    packets.push_back({.pts = Seconds(Value(record, "pts_time")),
                       .dts = Seconds(Value(record, "dts_time")),
                       .duration = Seconds(Value(record, "duration_time")).value_or(0),
                       .size = std::stoll(Value(record, "size")),
                       .hash = Value(record, "data_hash")});
  }
  return packets;
}

std::vector<std::string> ReadPayloads(const std::string& path, const std::string& stream) {
  std::vector<std::string> payloads;
  for (const Packet& packet : ReadPackets(path, stream)) payloads.push_back(packet.hash);
  return payloads;
}

std::string Probe(const std::string& path, const std::string& entries, const std::string& stream) {
  const std::size_t equals = entries.find('=');
  std::string values;
  for (const std::string& record : Records(path, entries.substr(0, equals), stream)) {
    std::istringstream keys(entries.substr(equals + 1));
    for (std::string key; std::getline(keys, key, ',');) {
      const std::string value = Value(record, key);
      if (!value.empty()) values += (values.empty() ? "" : "\n") + value;
    }
  }
  return values;
}

std::string DecodingErrors(const std::string& path) {
  // In ticks of the usual pictures' length, uneven ones would seem to share a time.
  return Ask("ffmpeg -v error -i", path,
             "-map 0 -fps_mode passthrough -enc_time_base:v 1:90000 -f null -");
}

}  // namespace test
