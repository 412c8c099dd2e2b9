// libFuzzer's way into one target, which the build names.
#include "fuzz/targets.h"
#include "media/ffmpeg.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  av_log_set_level(AV_LOG_QUIET);  // broken files are all there is
  mpg::fuzz::FUZZ_TARGET({data, size});
  return 0;
}
