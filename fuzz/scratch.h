// A folder of its own for the files of one fuzzed input.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "fuzz/targets.h"

namespace mpg::fuzz {

/// Ends the process where an invariant is broken, so that the fuzzer keeps the input.
inline void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

class Scratch {
 public:
  explicit Scratch(const std::string& name)
      : folder_(std::filesystem::temp_directory_path() /
                ("mpg-fuzz-" + name + std::to_string(std::random_device()()))) {
    std::filesystem::create_directories(folder_);
  }
  ~Scratch() { std::filesystem::remove_all(folder_); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  std::string operator/(const std::string& name) const { return (folder_ / name).string(); }

 private:
  std::filesystem::path folder_;
};

inline void WriteFile(const std::string& path, Input bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

inline std::vector<std::uint8_t> ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace mpg::fuzz
