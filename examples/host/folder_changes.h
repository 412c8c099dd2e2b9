// Waits for a folder to change: told by the system on Linux, else by looking again.
#pragma once

#include <string>

namespace host {

class FolderChanges {
 public:
  explicit FolderChanges(const std::string& folder);
  ~FolderChanges();
  FolderChanges(const FolderChanges&) = delete;
  FolderChanges& operator=(const FolderChanges&) = delete;

  /// Returns at the next change, at a signal, or whenever there is reason to look.
  void Wait();

 private:
  int descriptor_ = -1;
};

}  // namespace host
