#include "contest.h"

#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <utility>

namespace bench {
namespace {

struct Cost {
  double wall;    // seconds
  double cpu;     // seconds, user and system
  double memory;  // MiB at the peak
};
constexpr double Cost::*kFields[] = {&Cost::wall, &Cost::cpu, &Cost::memory};

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

using Costs = std::vector<Cost>;

double Median(Costs costs, double Cost::*field) {
  const auto middle = costs.begin() + static_cast<std::ptrdiff_t>(costs.size() / 2);
  std::ranges::nth_element(costs, middle, {}, field);
  return (*middle).*field;
}

void Print(const Contest& contest, const std::vector<Costs>& costs) {
  std::printf("%-32s %8s %8s %9s   share of wall, CPU, memory (medians of %d)\n",
              contest.work.c_str(), "wall s", "CPU s", "peak MiB", contest.rounds);
  for (std::size_t i = 0; i < costs.size(); ++i) {
    std::printf("  %-30s", contest.contestants[i].label.c_str());
    for (const auto field : kFields) std::printf(" %8.3f", Median(costs[i], field));
    std::printf("  ");
    for (const auto field : kFields) {
      std::printf(" %5.2f", Median(costs.front(), field) / Median(costs[i], field));
    }
    std::printf("\n");
  }
  std::fflush(stdout);
}

void Record(const Contest& contest, const std::vector<Costs>& costs) {
  const char* const path = std::getenv("BENCH_RESULTS");
  if (path == nullptr) return;
  std::ofstream file(path, std::ios::app);
  for (std::size_t i = 0; i < costs.size(); ++i) {
    const Contestant& contestant = contest.contestants[i];
    file << contest.work << '\t' << contestant.label << '\t' << contestant.aim;
    for (const auto field : kFields) {
      char separator = '\t';
      for (const Cost& cost : costs[i]) file << std::exchange(separator, ',') << cost.*field;
    }
    file << '\n';
  }
}

}  // namespace

std::string Rest(const std::string& files) {
  return "rm -f " + files + "; sync; sleep 0.3";
}

Contestant Command(std::string label, const std::string& command, double aim) {
  return {std::move(label),
          [line = "exec " + command + " >/dev/null"] {
            execl("/bin/sh", "sh", "-c", line.c_str(), static_cast<char*>(nullptr));
            return 127;
          },
          aim};
}

// A virtual machine may have lent the memory of files that were removed elsewhere, and gets it back
// a page at a time from whoever writes next: a second for a gigabyte, by chance one contestant's.
// The pages of a file that is removed before it is on the disk are at hand.
void TakeMemoryBack() {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), &std::fclose);
  const std::string megabyte(std::size_t{1} << 20, 'm');
  for (int i = 0; i < 1000; ++i) {
    if (file == nullptr || std::fwrite(megabyte.data(), megabyte.size(), 1, file.get()) != 1) {
      std::fprintf(stderr, "no room for a temporary file\n");
      std::exit(1);
    }
  }
}

void Run(const Contest& contest) {
  std::vector<Costs> costs(contest.contestants.size());
  for (int round = 0; round < contest.rounds; ++round) {
    for (std::size_t i = 0; i < costs.size(); ++i) {
      if (std::system(contest.before.c_str()) != 0) std::exit(1);
      TakeMemoryBack();
      costs[i].push_back(Measure(contest.contestants[i]));
    }
  }
  Print(contest, costs);
  Record(contest, costs);
}

}  // namespace bench
