#include "support/places.h"

namespace test {

const char* const kLibraryFile = MPG_LIBRARY;
const char* const kHeaderFile = MPG_SOURCE "/include/mpg/mpg.h";
const char* const kMediaFolder = MPG_SOURCE "/build-media";
const char* const kFuzzFindsFolder = MPG_SOURCE "/fuzz/finds";

}  // namespace test
