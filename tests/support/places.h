// Where this build's files are.
#pragma once

namespace test {

extern const char* const kLibraryFile;
/// The public header.
extern const char* const kHeaderFile;
/// Media that tests have made; they serve later runs, too.
extern const char* const kMediaFolder;
/// Inputs on which fuzzing found faults, a folder for each target.
extern const char* const kFuzzFindsFolder;

}  // namespace test
