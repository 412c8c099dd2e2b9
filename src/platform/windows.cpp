#include <windows.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "platform/system.h"

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

std::wstring FullName(const std::wstring& name) {
  std::wstring full(GetFullPathNameW(name.c_str(), 0, nullptr, nullptr), L'\0');
  if (full.empty()) return name;
  full.resize(
      GetFullPathNameW(name.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
  return full;
}

// A prefix lifts the limit, but switches off everything that makes a name comfortable: it goes
// before names in full.
std::wstring WithoutLimit(const std::wstring& name) {
  constexpr std::wstring_view kDevices = LR"(\\.\)";
  constexpr std::wstring_view kUnlimited = LR"(\\?\)";
  constexpr std::wstring_view kShares = LR"(\\)";
  if (name.starts_with(kUnlimited)) return name;
  std::wstring full = FullName(name);
  if (full.size() < MAX_PATH || full.starts_with(kDevices)) return name;
  if (full.starts_with(kShares)) return std::wstring(kUnlimited) + L"UNC" + full.substr(1);
  return std::wstring(kUnlimited) + full;
}

}  // namespace

Path::Path(const char* path) {
  name_ = Widen(path, CP_UTF8);
  if (name_.empty()) name_ = Widen(path, CP_ACP);
  if (!name_.empty()) name_ = WithoutLimit(name_);
}

namespace system {
namespace {

HANDLE Handle(std::intptr_t handle) noexcept {
  return reinterpret_cast<HANDLE>(handle);
}

int LastError() noexcept {
  struct Meaning {
    DWORD error;
    int code;
  };
  constexpr Meaning kMeanings[] = {
      {ERROR_FILE_NOT_FOUND, ENOENT},      {ERROR_PATH_NOT_FOUND, ENOENT},
      {ERROR_INVALID_NAME, ENOENT},        {ERROR_BAD_NETPATH, ENOENT},
      {ERROR_BAD_NET_NAME, ENOENT},        {ERROR_FILENAME_EXCED_RANGE, ENAMETOOLONG},
      {ERROR_ACCESS_DENIED, EACCES},       {ERROR_SHARING_VIOLATION, EACCES},
      {ERROR_LOCK_VIOLATION, EACCES},      {ERROR_WRITE_PROTECT, EROFS},
      {ERROR_DISK_FULL, ENOSPC},           {ERROR_HANDLE_DISK_FULL, ENOSPC},
      {ERROR_TOO_MANY_OPEN_FILES, EMFILE}, {ERROR_NOT_ENOUGH_MEMORY, ENOMEM},
      {ERROR_OUTOFMEMORY, ENOMEM},
  };
  const DWORD error = GetLastError();
  const auto* const found = std::ranges::find(kMeanings, error, &Meaning::error);
  return found == std::end(kMeanings) ? -EIO : -found->code;
}

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// One call moves at most 32 bits' worth.
DWORD Bounded(std::size_t size) noexcept {
  constexpr std::size_t kMostAtOnce = 1u << 30;
  return static_cast<DWORD>(std::min(size, kMostAtOnce));
}

}  // namespace

int Open(const Path& path, Access access, std::intptr_t& handle) noexcept {
  const DWORD rights = access == Access::kRead ? GENERIC_READ : GENERIC_WRITE;
  const DWORD creation = access == Access::kCreate ? CREATE_ALWAYS : OPEN_EXISTING;
  const HANDLE file = CreateFileW(path.Get(), rights, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                  creation, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return LastError();
  if (access == Access::kUpdate && GetFileType(file) != FILE_TYPE_DISK) {
    CloseHandle(file);
    return -ENODEV;
  }
  handle = reinterpret_cast<std::intptr_t>(file);
  return 0;
}

std::int64_t Read(std::intptr_t handle, void* bytes, std::size_t size) noexcept {
  DWORD moved = 0;
  if (ReadFile(Handle(handle), bytes, Bounded(size), &moved, nullptr)) return moved;
  // The writer of a pipe is gone: its end.
  return GetLastError() == ERROR_BROKEN_PIPE ? 0 : LastError();
}

std::int64_t Write(std::intptr_t handle, const void* bytes, std::size_t size) noexcept {
  DWORD moved = 0;
  if (WriteFile(Handle(handle), bytes, Bounded(size), &moved, nullptr)) return moved;
  return LastError();
}

int Seek(std::intptr_t handle, std::int64_t position) noexcept {
  if (GetFileType(Handle(handle)) == FILE_TYPE_PIPE) return -ESPIPE;
  LARGE_INTEGER target = {};
  target.QuadPart = position;
  return SetFilePointerEx(Handle(handle), target, nullptr, FILE_BEGIN) ? 0 : LastError();
}

std::int64_t Size(std::intptr_t handle) noexcept {
  if (GetFileType(Handle(handle)) != FILE_TYPE_DISK) return 0;
  LARGE_INTEGER size = {};
  return GetFileSizeEx(Handle(handle), &size) ? size.QuadPart : LastError();
}

// Not done: whether it pays on this system hasn't been measured.
bool Reserve(std::intptr_t /*handle*/, std::int64_t /*bytes*/) noexcept {
  return false;
}

void ReleaseSpare(std::intptr_t /*handle*/) noexcept {}

int Close(std::intptr_t handle) noexcept {
  return CloseHandle(Handle(handle)) ? 0 : LastError();
}

int Examine(const Path& path, Identity& identity) noexcept {
  // Directories are opened only with this flag.
  const HANDLE file = CreateFileW(path.Get(), 0, kShareAll, nullptr, OPEN_EXISTING,
                                  FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (file == INVALID_HANDLE_VALUE) return LastError();
  BY_HANDLE_FILE_INFORMATION information = {};
  int result = 0;
  if (GetFileType(file) != FILE_TYPE_DISK) {
    // Devices have no numbers: all are one, and no file is among them.
    identity = {.device = ~0ull, .file = 0, .kind = Identity::Kind::kOther, .size = 0};
  } else if (GetFileInformationByHandle(file, &information)) {
    const bool isFolder = (information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    const auto joined = [](DWORD high, DWORD low) { return std::uint64_t{high} << 32 | low; };
    identity = {.device = information.dwVolumeSerialNumber,
                .file = joined(information.nFileIndexHigh, information.nFileIndexLow),
                .kind = isFolder ? Identity::Kind::kDirectory : Identity::Kind::kRegular,
                .size = joined(information.nFileSizeHigh, information.nFileSizeLow)};
  } else {
    result = LastError();
  }
  CloseHandle(file);
  return result;
}

int Remove(const Path& path) noexcept {
  return DeleteFileW(path.Get()) ? 0 : LastError();
}

}  // namespace system
}  // namespace mpg::platform
