#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/platform.h"

namespace mpg::platform {

namespace {

// An open regular file, closed with the object; -1 when there is none of that name.
class FileDescriptor {
 public:
  explicit FileDescriptor(const char* path, int access = O_WRONLY) noexcept {
    struct stat file = {};
    if (stat(path, &file) != 0) return;
    errno = ENODEV;
    if (S_ISREG(file.st_mode)) fd_ = open(path, access | O_CLOEXEC);
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (fd_ >= 0) close(fd_);
  }
  int Get() const { return fd_; }
  /// False when only closing shows that bytes were lost.
  bool Close() noexcept { return close(std::exchange(fd_, -1)) == 0; }

 private:
  int fd_ = -1;
};

// Moves bytes until all are moved or no more can be: `move` takes how many are done and tells how
// many more it did, 0 or less when it can't go on.
template <class Move>
bool MoveAll(std::size_t size, Move move) noexcept {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t moved = move(done);
    if (moved < 0 && errno == EINTR) continue;
    if (moved <= 0) return false;
    done += static_cast<std::size_t>(moved);
  }
  return true;
}

}  // namespace

std::string SystemName(const char* path) {
  return path;
}

std::string FfmpegName(const char* path) {
  return path;
}

bool IsSameFile(const char* path, const char* otherPath) noexcept {
  struct stat file = {};
  struct stat other = {};
  return stat(path, &file) == 0 && stat(otherPath, &other) == 0 && file.st_dev == other.st_dev &&
         file.st_ino == other.st_ino;
}

bool IsFile(const char* path) noexcept {
  struct stat file = {};
  return stat(path, &file) == 0 && !S_ISDIR(file.st_mode);
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

int ReadFileAt(const char* path, std::uint64_t position, std::span<std::uint8_t> buffer) noexcept {
  const FileDescriptor file(path, O_RDONLY);
  if (file.Get() < 0) return -errno;
  const bool complete = MoveAll(buffer.size(), [&](std::size_t done) {
    return pread(file.Get(), buffer.data() + done, buffer.size() - done,
                 static_cast<off_t>(position + done));
  });
  return complete ? 0 : -EIO;
}

int OverwriteStart(const char* path, std::span<const std::uint8_t> bytes) noexcept {
  FileDescriptor file(path);
  if (file.Get() < 0) return -errno;
  const bool complete = MoveAll(bytes.size(), [&](std::size_t done) {
    return write(file.Get(), bytes.data() + done, bytes.size() - done);
  });
  return file.Close() && complete ? 0 : -EIO;
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
