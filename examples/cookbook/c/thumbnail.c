#include <mpg/mpg.h>
#include <stdio.h>

/* A picture from a tenth of the film on, 180 pixels high. */
int main(int argc, char** argv) {
  if (argc < 3) return 2;
  if (!MPG_GetImageP(MPG_IMAGE_JPEG, argv[1], argv[2], 10, 180, 85)) {
    fprintf(stderr, "no picture of %s\n", argv[1]);
    return 1;
  }
  return 0;
}
