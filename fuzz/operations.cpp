#include "faults/operations.h"

#include <algorithm>

#include "fuzz/scratch.h"
#include "fuzz/targets.h"

namespace mpg::fuzz {

void Operations(Input input) {
  const Scratch scratch("operations");
  const std::string in = scratch / "in.mp4";
  const std::string out = scratch / "out.mp4";
  for (const test::Operation& operation : test::OperationsOn({in, in, in, in, in, in, {in, in}})) {
    if (operation.fate == test::Fate::kRestored) continue;  // a target of its own
    WriteFile(in, input);
    const bool isSuccess = operation.run(operation.inputs, out).isSuccess;
    const bool mustExist = isSuccess && *operation.extension != 0;
    const bool mayExist = mustExist || operation.fate == test::Fate::kKept;
    const bool exists = std::filesystem::remove(out);
    Require(exists ? mayExist : !mustExist, "an output, and only where one is promised");
    const bool mayBeGone = isSuccess && operation.deletesInputs;
    Require(mayBeGone || std::ranges::equal(ReadFile(in), input), "the input stays");
    std::filesystem::remove(in);
    Require(std::filesystem::is_empty(scratch / ""), "nothing else is left");
  }
}

}  // namespace mpg::fuzz
