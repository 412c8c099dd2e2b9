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
  /// The share of this peer's CPU time that ours should take at most; 0: it only serves comparison.
  double aim = 0;
};

struct Contest {
  std::string work;
  std::vector<Contestant> contestants;  // ours first
  int rounds = 5;
  /// A command that runs ahead of each and isn't measured.
  std::string before = "true";
};

/// Removes the files of earlier rounds and lets the system write back what it holds: its own work
/// would be counted too.
std::string Rest(const std::string& files);

/// A command line for the shell, its output thrown away.
Contestant Command(std::string label, const std::string& command, double aim = 0);

/// Prints the medians of wall time, CPU time and peak memory and the first contestant's share of
/// the others'. Where the environment names a file in BENCH_RESULTS, every round's figures are
/// added to it, a line each: work, label, aim, wall times, CPU times, peaks, separated by tabs and
/// commas.
void Run(const Contest& contest);

}  // namespace bench
