/* A host that knows the installed package alone. */
#include <mpg/mpg.h>
#include <stdio.h>
#include <string.h>

int main(void) {
  MediaInfo info;
  if (strcmp(MPG_GetErrorText(MPG_ERR_VIDEO_STREAM_NOT_FOUND), "Video stream not found") != 0) {
    return 1;
  }
  if (MPG_GetMediaInfo("no such file", &info) != 0) return 2;
  puts("the installed package works");
  return 0;
}
