#include <sys/stat.h>
#include <unistd.h>

#include "platform/platform.h"

namespace mpg::platform {

bool IsSameFile(const char* path, const char* otherPath) noexcept {
  struct stat file = {};
  struct stat other = {};
  return stat(path, &file) == 0 && stat(otherPath, &other) == 0 && file.st_dev == other.st_dev &&
         file.st_ino == other.st_ino;
}

void RemoveFile(const char* path) noexcept {
  struct stat file = {};
  if (lstat(path, &file) != 0) return;
  if (S_ISREG(file.st_mode) || S_ISLNK(file.st_mode)) unlink(path);
}

}  // namespace mpg::platform
