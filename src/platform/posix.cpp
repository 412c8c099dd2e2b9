#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/system.h"

namespace mpg::platform {

Path::Path(const char* path) : name_(path) {}

namespace system {
namespace {

int Descriptor(std::intptr_t handle) noexcept {
  return static_cast<int>(handle);
}

// Nothing can stand at a name that is too long or leads through a file.
int ExaminingError() noexcept {
  const bool isNowhere = errno == ENOENT || errno == ENOTDIR || errno == ENAMETOOLONG;
  return isNowhere ? -ENOENT : -errno;
}

int Flags(Access access) noexcept {
  switch (access) {
    case Access::kRead:
      return O_RDONLY;
    case Access::kCreate:
      return O_WRONLY | O_CREAT | O_TRUNC;
    case Access::kUpdate:
      break;
  }
  // Opening a pipe that nobody reads would wait for ever.
  return O_WRONLY | O_NONBLOCK;
}

}  // namespace

int Open(const Path& path, Access access, std::intptr_t& handle) noexcept {
  constexpr mode_t kForAll = 0666;
  const int descriptor = open(path.Get(), Flags(access) | O_CLOEXEC, kForAll);
  if (descriptor < 0) return -errno;
  struct stat file = {};
  if (access == Access::kUpdate && (fstat(descriptor, &file) != 0 || !S_ISREG(file.st_mode))) {
    close(descriptor);
    return -ENODEV;
  }
  handle = descriptor;
  return 0;
}

std::int64_t Read(std::intptr_t handle, void* bytes, std::size_t size) noexcept {
  const ssize_t result = read(Descriptor(handle), bytes, size);
  return result < 0 ? -errno : result;
}

std::int64_t Write(std::intptr_t handle, const void* bytes, std::size_t size) noexcept {
  const ssize_t result = write(Descriptor(handle), bytes, size);
  return result < 0 ? -errno : result;
}

int Seek(std::intptr_t handle, std::int64_t position) noexcept {
  return lseek(Descriptor(handle), static_cast<off_t>(position), SEEK_SET) < 0 ? -errno : 0;
}

std::int64_t Size(std::intptr_t handle) noexcept {
  struct stat file = {};
  return fstat(Descriptor(handle), &file) < 0 ? -errno : file.st_size;
}

bool Reserve(std::intptr_t handle, std::int64_t bytes) noexcept {
#if defined(__linux__)
  return fallocate(Descriptor(handle), FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(bytes)) == 0;
#else
  static_cast<void>(handle);
  static_cast<void>(bytes);
  return false;
#endif
}

void ReleaseSpare(std::intptr_t handle) noexcept {
  // Cutting a file to its own size frees the blocks behind its end.
  const std::int64_t size = Size(handle);
  if (size >= 0) static_cast<void>(!ftruncate(Descriptor(handle), static_cast<off_t>(size)));
}

int Close(std::intptr_t handle) noexcept {
  // Linux closes the descriptor also where it says that it was interrupted.
  return close(Descriptor(handle)) == 0 || errno == EINTR ? 0 : -errno;
}

int Examine(const Path& path, Identity& identity) noexcept {
  struct stat file = {};
  if (stat(path.Get(), &file) != 0) return ExaminingError();
  identity = {.device = file.st_dev,
              .file = file.st_ino,
              .kind = S_ISREG(file.st_mode)   ? Identity::Kind::kRegular
                      : S_ISDIR(file.st_mode) ? Identity::Kind::kDirectory
                                              : Identity::Kind::kOther,
              .size = static_cast<std::uint64_t>(file.st_size)};
  return 0;
}

int Remove(const Path& path) noexcept {
  struct stat file = {};
  if (lstat(path.Get(), &file) != 0) return ExaminingError();
  if (!S_ISREG(file.st_mode) && !S_ISLNK(file.st_mode)) return -EPERM;
  return unlink(path.Get()) == 0 ? 0 : -errno;
}

}  // namespace system
}  // namespace mpg::platform
