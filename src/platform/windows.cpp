#include <windows.h>

#include <cerrno>
#include <string>
#include <string_view>

#include "platform/platform.h"

namespace mpg::platform {

namespace {

// Empty when the text isn't one of that code page.
std::wstring Widen(std::string_view text, UINT codePage) {
  const int size = static_cast<int>(text.size());
  const int length =
      MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, text.data(), size, nullptr, 0);
  if (length <= 0) return {};
  std::wstring wide(static_cast<std::size_t>(length), L'\0');
  MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, text.data(), size, wide.data(), length);
  return wide;
}

// Empty when the code page lacks one of the characters.
std::string Narrow(std::wstring_view text, UINT codePage) {
  const bool isUtf8 = codePage == CP_UTF8;
  const DWORD flags = isUtf8 ? WC_ERR_INVALID_CHARS : WC_NO_BEST_FIT_CHARS;
  BOOL isLossy = FALSE;
  BOOL* const lossy = isUtf8 ? nullptr : &isLossy;
  const int size = static_cast<int>(text.size());
  const int length =
      WideCharToMultiByte(codePage, flags, text.data(), size, nullptr, 0, nullptr, lossy);
  if (length <= 0 || isLossy) return {};
  std::string narrow(static_cast<std::size_t>(length), '\0');
  WideCharToMultiByte(codePage, flags, text.data(), size, narrow.data(), length, nullptr, nullptr);
  return narrow;
}

// The system's narrow functions take no longer one; it would be another file's if it were cut.
bool IsTooLong(std::string_view path, const std::wstring& wide) {
  return path.size() >= MAX_PATH || GetFullPathNameW(wide.c_str(), 0, nullptr, nullptr) > MAX_PATH;
}

class FileHandle {
 public:
  FileHandle(const char* path, DWORD access, DWORD sharing, DWORD flags = FILE_ATTRIBUTE_NORMAL)
      : handle_(CreateFileA(SystemName(path).c_str(), access, sharing, nullptr, OPEN_EXISTING,
                            flags, nullptr)) {}
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;
  ~FileHandle() { Close(); }

  bool IsOpen() const { return handle_ != INVALID_HANDLE_VALUE; }
  HANDLE Get() const { return handle_; }
  /// False when only closing shows that bytes were lost.
  bool Close() noexcept {
    const bool closed = !IsOpen() || CloseHandle(handle_) != FALSE;
    handle_ = INVALID_HANDLE_VALUE;
    return closed;
  }

 private:
  HANDLE handle_;
};

// Why the last file couldn't be opened, as a negative errno code.
int OpeningError() noexcept {
  switch (GetLastError()) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
      return -ENOENT;
    default:
      return -EACCES;
  }
}

// Moves bytes until all are moved or no more can be: `move` takes how many are done, how many it
// may do at most, and tells how many it did.
template <class Move>
bool MoveAll(std::size_t size, Move move) noexcept {
  constexpr std::size_t kMostAtOnce = 1u << 30;
  for (std::size_t done = 0; done < size;) {
    DWORD moved = 0;
    const auto most = static_cast<DWORD>(size - done < kMostAtOnce ? size - done : kMostAtOnce);
    if (!move(done, most, &moved) || moved == 0) return false;
    done += moved;
  }
  return true;
}

bool Identify(const char* path, BY_HANDLE_FILE_INFORMATION& information) {
  constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  // Directories are opened only with this flag.
  const FileHandle file(path, 0, kShareAll, FILE_FLAG_BACKUP_SEMANTICS);
  return file.IsOpen() && GetFileInformationByHandle(file.Get(), &information);
}

}  // namespace

std::string SystemName(const char* path) {
  if (GetACP() == CP_UTF8) return path;
  const std::string narrow = Narrow(Widen(path, CP_UTF8), CP_ACP);
  return narrow.empty() ? path : narrow;
}

std::string FfmpegName(const char* path) {
  const std::wstring utf8 = Widen(path, CP_UTF8);
  const std::wstring wide = utf8.empty() ? Widen(path, CP_ACP) : utf8;
  return IsTooLong(SystemName(path), wide) ? std::string() : Narrow(wide, CP_UTF8);
}

bool IsSameFile(const char* path, const char* otherPath) noexcept {
  BY_HANDLE_FILE_INFORMATION file = {};
  BY_HANDLE_FILE_INFORMATION other = {};
  return Identify(path, file) && Identify(otherPath, other) &&
         file.dwVolumeSerialNumber == other.dwVolumeSerialNumber &&
         file.nFileIndexHigh == other.nFileIndexHigh && file.nFileIndexLow == other.nFileIndexLow;
}

bool IsFile(const char* path) noexcept {
  const DWORD attributes = GetFileAttributesA(SystemName(path).c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

void RemoveFile(const char* path) noexcept {
  DeleteFileA(SystemName(path).c_str());
}

std::uint64_t FileSize(const char* path) noexcept {
  const FileHandle file(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE);
  if (!file.IsOpen()) return 0;
  DWORD high = 0;
  const DWORD low = GetFileSize(file.Get(), &high);
  if (low == INVALID_FILE_SIZE && GetLastError() != NO_ERROR) return 0;
  return (std::uint64_t{high} << 32) + low;
}

int ReadFileAt(const char* path, std::uint64_t position, std::span<std::uint8_t> buffer) noexcept {
  const FileHandle file(path, GENERIC_READ, FILE_SHARE_READ);
  if (!file.IsOpen()) return OpeningError();
  LARGE_INTEGER target = {};
  target.QuadPart = static_cast<LONGLONG>(position);
  if (!SetFilePointerEx(file.Get(), target, nullptr, FILE_BEGIN)) return -EIO;
  const bool complete =
      MoveAll(buffer.size(), [&](std::size_t done, DWORD most, DWORD* moved) noexcept {
        return ReadFile(file.Get(), buffer.data() + done, most, moved, nullptr);
      });
  return complete ? 0 : -EIO;
}

int OverwriteStart(const char* path, std::span<const std::uint8_t> bytes) noexcept {
  FileHandle file(path, GENERIC_WRITE, FILE_SHARE_READ);
  if (!file.IsOpen()) return OpeningError();
  const bool complete =
      MoveAll(bytes.size(), [&](std::size_t done, DWORD most, DWORD* moved) noexcept {
        return WriteFile(file.Get(), bytes.data() + done, most, moved, nullptr);
      });
  return file.Close() && complete ? 0 : -EIO;
}

// Not done: whether it pays on this system hasn't been measured.
bool ReserveSpace(const char* /*path*/, std::int64_t /*bytes*/) noexcept {
  return false;
}

void ReleaseSpareSpace(const char* /*path*/) noexcept {}

}  // namespace mpg::platform
