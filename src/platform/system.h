// The system's calls on open files, one each, as file.cpp uses them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/file.h"

namespace mpg::platform::system {

// Results are 0 or a negative errno code; Read and Write give the number of bytes moved.

int Open(const Path& path, Access access, std::intptr_t& handle) noexcept;
std::int64_t Read(std::intptr_t handle, void* bytes, std::size_t size) noexcept;
std::int64_t Write(std::intptr_t handle, const void* bytes, std::size_t size) noexcept;
int Seek(std::intptr_t handle, std::int64_t position) noexcept;
std::int64_t Size(std::intptr_t handle) noexcept;
bool Reserve(std::intptr_t handle, std::int64_t bytes) noexcept;
void ReleaseSpare(std::intptr_t handle) noexcept;
int Close(std::intptr_t handle) noexcept;

/// What tells files apart.
struct Identity {
  std::uint64_t device;
  std::uint64_t file;
  enum class Kind { kRegular, kDirectory, kOther } kind;
  std::uint64_t size;
};
/// Of what a path leads to; -ENOENT where nothing can be.
int Examine(const Path& path, Identity& identity) noexcept;
/// Deletes a regular file or a link.
int Remove(const Path& path) noexcept;

}  // namespace mpg::platform::system
