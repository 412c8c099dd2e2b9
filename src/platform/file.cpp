#include "platform/file.h"

#include <cerrno>

#include "platform/faults.h"
#include "platform/platform.h"
#include "platform/system.h"

namespace mpg::platform {

std::atomic<FaultPlan> faultPlan{nullptr};

namespace {

int FaultOf(SystemCall call, std::size_t& bytes) noexcept {
  const FaultPlan plan = faultPlan.load(std::memory_order_relaxed);
  return plan == nullptr ? 0 : -plan(call, bytes);
}

int FaultOf(SystemCall call) noexcept {
  std::size_t none = 0;
  return FaultOf(call, none);
}

int Look(const Path& path, system::Identity& identity) noexcept {
  const int fault = FaultOf(SystemCall::kExamine);
  return fault != 0 ? fault : system::Examine(path, identity);
}

std::int64_t ReadOnce(std::intptr_t handle, std::span<std::uint8_t> buffer) noexcept {
  std::size_t size = buffer.size();
  const int fault = FaultOf(SystemCall::kRead, size);
  return fault != 0 ? fault : system::Read(handle, buffer.data(), size);
}

std::int64_t WriteOnce(std::intptr_t handle, std::span<const std::uint8_t> bytes) noexcept {
  std::size_t size = bytes.size();
  const int fault = FaultOf(SystemCall::kWrite, size);
  return fault != 0 ? fault : system::Write(handle, bytes.data(), size);
}

}  // namespace

int File::Open(const Path& path, Access access) noexcept {
  static_cast<void>(Close());
  for (;;) {
    const int fault = FaultOf(SystemCall::kOpen);
    const int result = fault != 0 ? fault : system::Open(path, access, handle_);
    if (result != -EINTR) return result;
  }
}

std::int64_t File::Read(std::span<std::uint8_t> buffer) noexcept {
  for (;;) {
    const std::int64_t result = ReadOnce(handle_, buffer);
    if (result != -EINTR) return result;
  }
}

int File::ReadAt(std::int64_t position, std::span<std::uint8_t> buffer) noexcept {
  if (const int sought = Seek(position); sought < 0) return sought;
  while (!buffer.empty()) {
    const std::int64_t result = Read(buffer);
    if (result <= 0) return result < 0 ? static_cast<int>(result) : -EIO;
    buffer = buffer.subspan(static_cast<std::size_t>(result));
  }
  return 0;
}

int File::Write(std::span<const std::uint8_t> bytes) noexcept {
  while (!bytes.empty()) {
    const std::int64_t result = WriteOnce(handle_, bytes);
    if (result == -EINTR) continue;
    if (result <= 0) return result < 0 ? static_cast<int>(result) : -EIO;
    bytes = bytes.subspan(static_cast<std::size_t>(result));
  }
  return 0;
}

int File::Seek(std::int64_t position) noexcept {
  const int fault = FaultOf(SystemCall::kSeek);
  return fault != 0 ? fault : system::Seek(handle_, position);
}

std::int64_t File::Size() noexcept {
  const int fault = FaultOf(SystemCall::kSize);
  return fault != 0 ? fault : system::Size(handle_);
}

void File::Reserve(std::int64_t bytes) noexcept {
  if (bytes > 0) hasReserve_ = system::Reserve(handle_, bytes);
}

int File::Close() noexcept {
  if (!IsOpen()) return 0;
  if (std::exchange(hasReserve_, false)) system::ReleaseSpare(handle_);
  const int fault = FaultOf(SystemCall::kClose);
  const int result = system::Close(std::exchange(handle_, kClosed));
  return fault != 0 ? fault : result;
}

int CompareFiles(const Path& path, const Path& otherPath) noexcept {
  system::Identity file{};
  system::Identity other{};
  const int examined = Look(path, file);
  if (examined == -ENOENT) return 0;
  const int otherExamined = Look(otherPath, other);
  if (otherExamined == -ENOENT) return 0;
  if (examined < 0 || otherExamined < 0) return examined < 0 ? examined : otherExamined;
  return file.device == other.device && file.file == other.file ? 1 : 0;
}

bool IsFile(const Path& path) noexcept {
  system::Identity file{};
  const int examined = Look(path, file);
  if (examined < 0) return examined != -ENOENT;
  return file.kind != system::Identity::Kind::kDirectory;
}

void RemoveFile(const Path& path) noexcept {
  if (FaultOf(SystemCall::kRemove) == 0) static_cast<void>(system::Remove(path));
}

std::uint64_t FileSize(const Path& path) noexcept {
  system::Identity file{};
  const bool isRegular = Look(path, file) == 0 && file.kind == system::Identity::Kind::kRegular;
  return isRegular ? file.size : 0;
}

}  // namespace mpg::platform
