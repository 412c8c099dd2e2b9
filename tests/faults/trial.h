// One operation on fresh copies of its inputs, and what holds afterwards whatever failed.
#pragma once

#include <string>
#include <vector>

#include "faults/operations.h"
#include "support/host.h"

namespace test {

/// What a fault can bring about beyond the failing of the operation.
struct FaultNature {
  bool isHarmless = false;       // the operation succeeds all the same
  bool lasts = false;            // what makes the first failure good may fail, too
  bool preventsRemoval = false;  // files that should go may stay
  bool takesMemory = false;      // FFmpeg may find out less about a file and say nothing
};

class Trial {
 public:
  /// Runs the operation once without a fault, to learn what success looks like.
  explicit Trial(const Operation& operation);

  /// Puts the inputs in place as they were, and nothing else.
  void Prepare();

  /// Gives an input another content, or takes it away.
  void Spoil(std::size_t input, const char* content);

  /// The operation, as it is.
  Outcome Run() const { return RunInto(output_); }
  Outcome RunInto(const std::string& output) const { return operation_.run(inputs_, output); }

  const std::vector<std::string>& Inputs() const { return inputs_; }
  const std::string& Output() const { return output_; }

  /// Expects that a success is one, that a failure leaves the inputs alone and the output as
  /// promised, and that nothing else is left: files, open files.
  void Check(const Outcome& outcome, const FaultNature& fault);

 private:
  void CheckSuccess(const Outcome& outcome, const FaultNature& fault);
  void CheckPayloads();
  void CheckFailure(const FaultNature& fault);

  const Operation& operation_;
  ScratchFolder folder_;
  std::vector<std::string> inputs_ = {};
  std::string output_;
  std::vector<std::string> before_ = {};  // the inputs' contents
  std::vector<std::string> after_ = {};
  std::string good_ = {};  // the output's content
  Outcome outcome_ = {};
  int openFiles_ = 0;
};

}  // namespace test
