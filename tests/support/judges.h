// The ffprobe and ffmpeg programs, asked about a file. They take longer to start than to answer:
// answers are kept beside the media, by the question and the file's bytes.
#pragma once

#include <string>

namespace test {

/// What `before FILE after` prints, output and complaints.
std::string Ask(const std::string& before, const std::string& path, const std::string& after = "");

/// What `before FILE after RESULT` writes into the result.
std::string AskForBytes(const std::string& before, const std::string& path,
                        const std::string& after);

}  // namespace test
