// What the FFmpeg libraries that the library runs on can do.
#pragma once

namespace test {

/// Whether they have an encoder of that name: some builds come without libx264 and libx265.
bool HasEncoder(const char* name);

}  // namespace test
