#include <mpg/mpg.h>
#include <stdio.h>

/* segments OUTPUT SEGMENT...: what argv ends with is the null pointer that ends the list. */
int main(int argc, char** argv) {
  int32_t result;
  if (argc < 3) return 2;
  /* deleteSegments 0: the host deletes them when all of its work is done. A failed join deletes
   * its output. closeGaps 1: times go on where the previous segment ended. */
  result = MPG_Merge((const char* const*)&argv[2], argv[1], 0, 1, NULL, 0);
  if (result != 0) {
    fprintf(stderr, "the segments are kept: %s\n", MPG_GetErrorText(result));
    return 1;
  }
  printf("wrote %s\n", argv[1]);
  return 0;
}
