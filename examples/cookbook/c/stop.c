#include <mpg/mpg.h>
#include <stdio.h>

static uint8_t StopAtHalf(const ProgressInfo* progress) {
  uint8_t* stopped = (uint8_t*)(uintptr_t)progress->context;
  *stopped = progress->percent >= 50;
  return !*stopped;
}

int main(int argc, char** argv) {
  uint8_t stopped = 0;
  int32_t result;
  if (argc < 4) return 2;
  result = MPG_MergeAV(argv[1], argv[2], argv[3], StopAtHalf, (uint64_t)(uintptr_t)&stopped);
  if (result != 0) {
    fprintf(stderr, "failed: %s\n", MPG_GetErrorText(result));
    return 1;
  }
  /* Stopping is a success, too: only the host knows of it. */
  printf(stopped ? "stopped; %s holds the first half\n" : "wrote %s\n", argv[3]);
  return 0;
}
