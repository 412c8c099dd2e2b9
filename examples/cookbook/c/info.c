#include <mpg/mpg.h>
#include <stdio.h>

int main(int argc, char** argv) {
  MediaInfo info;
  if (argc < 2 || !MPG_GetMediaInfo(argv[1], &info)) {
    fprintf(stderr, "not a media file\n");
    return 1;
  }
  printf("%d s\n", (int)info.duration);
  if (info.videoStreams > 0) printf("%s %d x %d\n", info.videoCodec, info.width, info.height);
  if (info.audioCodec[0] != '\0') printf("%s %d Hz\n", info.audioCodec, info.sampleRate);
  return 0;
}
