#include "support/encoders.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace test {

bool HasEncoder(const char* name) {
  return avcodec_find_encoder_by_name(name) != nullptr;
}

}  // namespace test
