#include "support/process.h"

#include <sys/wait.h>

#include <array>
#include <cstdio>

namespace test {

ProcessResult RunProgram(const std::string& command) {
  std::FILE* const pipe = popen((command + " 2>&1 </dev/null").c_str(), "r");
  if (pipe == nullptr) return {-1, "popen failed"};
  std::string output;
  std::array<char, 4096> piece;
  while (const std::size_t size = std::fread(piece.data(), 1, piece.size(), pipe)) {
    output.append(piece.data(), size);
  }
  const int status = pclose(pipe);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

std::string Quoted(const std::string& word) {
  std::string quoted = "'";
  for (const char letter : word)
    quoted += letter == '\'' ? std::string("'\\''") : std::string(1, letter);
  return quoted + "'";
}

}  // namespace test
