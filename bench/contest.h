// Measures ways of doing one thing against each other: in turn, round after round, each in a child
// process of its own, so that the machine's moods stay out of the ratios.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace bench {

struct Contestant {
  std::string label;
  /// Runs in a child process; 0 is success. Loading the library there costs nothing, since the
  /// parent has loaded it: what is measured is the call, as in a host.
  std::function<int()> run;
};

/// A command line for the shell, its output thrown away.
Contestant Command(std::string label, const std::string& command);

/// Prints the medians of wall time, CPU time and peak memory and the first contestant's share of
/// the others'. `before` is a command that runs ahead of each and isn't measured.
void Run(const std::vector<Contestant>& contestants, int rounds, const std::string& before);

}  // namespace bench
