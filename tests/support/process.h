// Programs that judge the library from outside.
#pragma once

#include <string>

namespace test {

struct ProcessResult {
  int status;          // exit status, -1 when it was killed
  std::string output;  // standard output and error
};

/// Runs a shell command to its end.
ProcessResult RunProgram(const std::string& command);

/// A word of a shell command that stays one word.
std::string Quoted(const std::string& word);

}  // namespace test
