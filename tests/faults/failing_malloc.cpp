// Preloaded into a test program: the n-th allocation of the process fails, or all from there on.
#include <execinfo.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>

namespace {

std::atomic<long> allocations = 0;
std::atomic<long> first = 0;  // counted from 1; 0 for none
std::atomic<bool> lasts = false;
// MPG_TRACE in the environment: the first failing allocation tells where it is.
const bool traces = std::getenv("MPG_TRACE") != nullptr;

bool Fails() noexcept {
  const long failing = first.load(std::memory_order_relaxed);
  const long number = ++allocations;
  if (failing == 0 || number < failing || (number > failing && !lasts)) return false;
  if (number == failing && traces) {
    void* frames[40];
    const int count = backtrace(frames, 40);
    backtrace_symbols_fd(frames, count, STDERR_FILENO);
  }
  errno = ENOMEM;
  return true;
}

}  // namespace

extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

/// Counts from 0 again. first 0: none fails.
void FailAllocations(long firstToFail, bool allBehindIt) {
  first = 0;
  lasts = allBehindIt;
  allocations = 0;
  first = firstToFail;
}

/// Since the last FailAllocations.
long CountAllocations() {
  return allocations;
}

void* malloc(std::size_t size) noexcept {
  return Fails() ? nullptr : __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
  return Fails() ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* block, std::size_t size) noexcept {
  return Fails() ? nullptr : __libc_realloc(block, size);
}

void* memalign(std::size_t alignment, std::size_t size) noexcept {
  return Fails() ? nullptr : __libc_memalign(alignment, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  return memalign(alignment, size);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept {
  if (Fails()) return ENOMEM;
  *block = __libc_memalign(alignment, size);
  return *block == nullptr ? ENOMEM : 0;
}
}
