#include <mpg/mpg.h>
#include <stdio.h>

/* The context leads from the callback to the host's own data. */
static uint8_t ShowProgress(const ProgressInfo* progress) {
  const char* title = (const char*)(uintptr_t)progress->context;
  printf("\r%s: %d %%", title, (int)progress->percent);
  fflush(stdout);
  return 1;
}

int main(int argc, char** argv) {
  int32_t result;
  if (argc < 3) return 2;
  result = MP3_Convert(argv[1], argv[2], 192000, ShowProgress, (uint64_t)(uintptr_t)argv[2]);
  if (result != 0) {
    /* A failed conversion leaves what was written so far. */
    fprintf(stderr, "%s\n", MPG_GetErrorText(result));
    remove(argv[2]);
    return 1;
  }
  printf("\n");
  return 0;
}
