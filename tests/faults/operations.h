// One table of everything that the library does, for tests that hold of all operations.
#pragma once

#include <string>
#include <vector>

namespace test {

/// What a failure leaves of the output.
enum class Fate {
  kKept,       // what was written so far
  kDeleted,    // nothing
  kRestored,   // the old file, in place; the operation works on a copy of its first input
  kWhatItWas,  // there is no output, or only success touches it
};

struct Outcome {
  bool isSuccess = false;
  /// Everything else that the host was told, to be compared; of a failure its code, if any.
  std::string answer = {};
};

/// What the operations are given.
struct Media {
  std::string video, audio, film, mpeg4, opus, flv;
  std::vector<std::string> parts;
};

struct Operation {
  const char* name;
  std::vector<std::string> inputs;
  /// Of the output's name, without dot; "" where no file is written.
  const char* extension;
  Fate fate;
  Outcome (*run)(const std::vector<std::string>& inputs, const std::string& output);
  /// The inputs' copies that a success deletes are all of them, or none.
  bool deletesInputs = false;
};

std::vector<Operation> OperationsOn(const Media& media);

/// On short media, made on first use.
const std::vector<Operation>& Operations();

/// Copies an operation's inputs to names that begin alike, and tells them.
std::vector<std::string> CopyInputs(const Operation& operation, const std::string& prefix);

}  // namespace test
