#include "folder_changes.h"

#include <chrono>
#include <thread>

#if defined(__linux__)
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>
#endif

namespace host {

#if defined(__linux__)

FolderChanges::FolderChanges(const std::string& folder)
    : descriptor_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
  inotify_add_watch(descriptor_, folder.c_str(),
                    IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE | IN_MOVED_TO);
}

FolderChanges::~FolderChanges() {
  close(descriptor_);
}

void FolderChanges::Wait() {
  pollfd change{.fd = descriptor_, .events = POLLIN, .revents = 0};
  // Ctrl-C that comes just before must not be slept over for ever.
  constexpr int kMilliseconds = 10000;
  poll(&change, 1, kMilliseconds);
  char events[4096];
  while (read(descriptor_, events, sizeof events) > 0) {
  }
}

#else

FolderChanges::FolderChanges(const std::string&) {}

FolderChanges::~FolderChanges() = default;

void FolderChanges::Wait() {
  std::this_thread::sleep_for(std::chrono::seconds(2));
}

#endif

}  // namespace host
