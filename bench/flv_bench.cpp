// FLV_FixDuration beside `flvmeta -U`, each on a copy of one file.
//
//   flv_bench FLV FOLDER [ROUNDS]
#include <cstdio>
#include <cstdlib>
#include <string>

#include "contest.h"
#include "mpg/mpg.h"

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: flv_bench FLV FOLDER [ROUNDS]\n");
    return 2;
  }
  const std::string original = argv[1];
  const std::string copy = std::string(argv[2]) + "/copy.flv";
  const int rounds = argc > 3 ? std::atoi(argv[3]) : 5;
  bench::Run({{"FLV_FixDuration", [&] { return FLV_FixDuration(copy.c_str()); }},
              bench::Command("flvmeta -U", "flvmeta -U " + copy)},
             rounds, "cp " + original + " " + copy + "; sync; sleep 0.3");
}
