// libFuzzer's way into one target, which the build names.
#include "fuzz/targets.h"
#include "media/ffmpeg.h"

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Broken files are all there is: nobody reads what FFmpeg says of them.
int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/) {
  av_log_set_level(AV_LOG_QUIET);
  return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  mpg::fuzz::FUZZ_TARGET({data, size});
  return 0;
}
