#include <mpg/mpg.h>
#include <stdio.h>

static uint8_t ShowProgress(const ProgressInfo* progress) {
  printf("\r%d %%", (int)progress->percent);
  fflush(stdout);
  return 1; /* go on */
}

/* join VIDEO AUDIO NAME: writes NAME with the extension that suits the codecs. */
int main(int argc, char** argv) {
  MergeDecision decision;
  char output[4096];
  int32_t result;
  if (argc < 4) return 2;
  result = MPG_MergeOP2(argv[1], argv[2], &decision);
  if (result == 0) {
    snprintf(output, sizeof output, "%s.%s", argv[3], decision.extension);
    result = MPG_MergeAV(argv[1], argv[2], output, ShowProgress, 0);
  }
  if (result != 0) {
    fprintf(stderr, "%s\n", MPG_GetErrorText(result));
    return 1;
  }
  printf("\nwrote %s\n", output);
  return 0;
}
