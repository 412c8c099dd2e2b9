// FLV_FixDuration beside `flvmeta -U`, each on a copy of one file.
//
//   flv_bench WORK FLV AIM FOLDER ROUNDS      AIM: the share of its CPU time to stay within
#include <cstdio>
#include <cstdlib>
#include <string>

#include "contest.h"
#include "mpg/mpg.h"

int main(int argc, char** argv) {
  if (argc != 6) {
    std::fprintf(stderr, "usage: flv_bench WORK FLV AIM FOLDER ROUNDS\n");
    return 2;
  }
  const std::string original = argv[2];
  const std::string copy = std::string(argv[4]) + "/copy.flv";
  bench::Run(
      {.work = argv[1],
       .contestants = {{"FLV_FixDuration", [&] { return FLV_FixDuration(copy.c_str()); }},
                       bench::Command("flvmeta -U", "flvmeta -U " + copy, std::atof(argv[3]))},
       .rounds = std::atoi(argv[5]),
       .before = "cp " + original + " " + copy + "; sync; sleep 0.3"});
}
