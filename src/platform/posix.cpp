#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/platform.h"

namespace mpg::platform {

namespace {

// An open regular file, closed with the object; -1 when there is none of that name.
class FileDescriptor {
 public:
  explicit FileDescriptor(const char* path) noexcept {
    struct stat file = {};
    if (stat(path, &file) == 0 && S_ISREG(file.st_mode)) fd_ = open(path, O_WRONLY | O_CLOEXEC);
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (fd_ >= 0) close(fd_);
  }
  int Get() const { return fd_; }

 private:
  int fd_ = -1;
};

}  // namespace

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

std::uint64_t FileSize(const char* path) noexcept {
  struct stat file = {};
  if (stat(path, &file) != 0 || !S_ISREG(file.st_mode)) return 0;
  return static_cast<std::uint64_t>(file.st_size);
}

bool ReserveSpace(const char* path, std::int64_t bytes) noexcept {
#if defined(__linux__)
  const FileDescriptor file(path);
  return file.Get() >= 0 && bytes > 0 &&
         fallocate(file.Get(), FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(bytes)) == 0;
#else
  static_cast<void>(path);
  static_cast<void>(bytes);
  return false;
#endif
}

void ReleaseSpareSpace(const char* path) noexcept {
  const FileDescriptor file(path);
  struct stat state = {};
  // Cutting a file to its own size frees the blocks behind its end.
  if (file.Get() >= 0 && fstat(file.Get(), &state) == 0) {
    static_cast<void>(!ftruncate(file.Get(), state.st_size));
  }
}

}  // namespace mpg::platform
