#include "contest.h"

#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace bench {
namespace {

struct Cost {
  double wall;    // seconds
  double cpu;     // seconds, user and system
  double memory;  // MiB at the peak
};

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

Cost Measure(const Contestant& contestant) {
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child == 0) _exit(contestant.run());
  int status = 0;
  rusage usage{};
  wait4(child, &status, 0, &usage);
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
  if (status != 0) {
    std::fprintf(stderr, "%s failed\n", contestant.label.c_str());
    std::exit(1);
  }
  return {wall.count(), Seconds(usage.ru_utime) + Seconds(usage.ru_stime),
          static_cast<double>(usage.ru_maxrss) / 1024};
}

double Median(std::vector<Cost> costs, double Cost::*field) {
  const auto middle = costs.begin() + static_cast<std::ptrdiff_t>(costs.size() / 2);
  std::nth_element(costs.begin(), middle, costs.end(),
                   [field](const Cost& a, const Cost& b) { return a.*field < b.*field; });
  return (*middle).*field;
}

Cost Medians(const std::vector<Cost>& costs) {
  return {Median(costs, &Cost::wall), Median(costs, &Cost::cpu), Median(costs, &Cost::memory)};
}

}  // namespace

Contestant Command(std::string label, const std::string& command) {
  return {std::move(label), [line = "exec " + command + " >/dev/null"] {
            execl("/bin/sh", "sh", "-c", line.c_str(), static_cast<char*>(nullptr));
            return 127;
          }};
}

void Run(const std::vector<Contestant>& contestants, int rounds, const std::string& before) {
  std::vector<std::vector<Cost>> costs(contestants.size());
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t i = 0; i < contestants.size(); ++i) {
      if (std::system(before.c_str()) != 0) std::exit(1);
      costs[i].push_back(Measure(contestants[i]));
    }
  }

  const Cost own = Medians(costs.front());
  std::printf("%-28s %8s %8s %9s   share of wall, CPU, memory (medians of %d)\n", "", "wall s",
              "CPU s", "peak MiB", rounds);
  for (std::size_t i = 0; i < contestants.size(); ++i) {
    const Cost cost = Medians(costs[i]);
    std::printf("%-28s %8.3f %8.3f %9.1f   %.2f  %.2f  %.2f\n", contestants[i].label.c_str(),
                cost.wall, cost.cpu, cost.memory, own.wall / cost.wall, own.cpu / cost.cpu,
                own.memory / cost.memory);
  }
}

}  // namespace bench
