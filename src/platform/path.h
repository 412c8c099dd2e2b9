// File names as the system takes them.
#pragma once

#include <string>

namespace mpg::platform {

/// The name of one file, from a host's path. Converting allocates; using it never does.
/// On Windows a path is UTF-8 where its bytes are that, else in the ANSI code page, and one that
/// exceeds the system's usual limit gets the prefix that lifts it. Elsewhere it stays as it is.
class Path {
 public:
#if defined(_WIN32)
  using Native = std::wstring;
#else
  using Native = std::string;
#endif

  /// Implicit, so that a host's path can be given wherever a file is named. Throws std::bad_alloc.
  Path(const char* path);
  Path(const std::string& path) : Path(path.c_str()) {}

  /// NUL-terminated. Empty for a name that the system can't have.
  const Native::value_type* Get() const noexcept {
    return name_.c_str();
  }

 private:
  Native name_;
};

}  // namespace mpg::platform
