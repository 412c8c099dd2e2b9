// Failing systems, for tests.
#pragma once

#include <atomic>
#include <cstddef>

namespace mpg::platform {

enum class SystemCall { kOpen, kRead, kWrite, kSeek, kSize, kClose, kExamine, kRemove };

/// Asked before each call to the system. 0 lets it run, with as many bytes as are left in `bytes`
/// (at least 1, where it moves any); an errno code makes it fail with that. A file whose closing
/// "fails" is closed all the same.
using FaultPlan = int (*)(SystemCall call, std::size_t& bytes) noexcept;

/// Null, always, but in tests.
extern std::atomic<FaultPlan> faultPlan;

}  // namespace mpg::platform
