// What tests need of the operating system. One source file per system, as in the library.
#pragma once

#include <set>
#include <string>

namespace test {

/// Tells the processes of tests that run side by side apart.
int ProcessId();

/// A file that swallows everything and that nothing can delete.
std::string NullDevice();

/// How many files (or handles) this process has open; 0 where the system doesn't tell.
int OpenFiles();

/// The answer to an output that is a directory.
int DirectoryError();

/// Makes a second name of a file: a symbolic link, or a hard one where only administrators may make
/// those.
void MakeLink(const std::string& target, const std::string& link);

/// A shared library that is loaded at run time, as many hosts do.
class LoadedLibrary {
 public:
  /// Throws std::runtime_error when it can't be loaded.
  explicit LoadedLibrary(const std::string& path);
  ~LoadedLibrary();
  LoadedLibrary(const LoadedLibrary&) = delete;
  LoadedLibrary& operator=(const LoadedLibrary&) = delete;

  /// Null when the library has no function of that name.
  template <class Function>
  Function* Find(const std::string& name) const {
    return reinterpret_cast<Function*>(Address(name));
  }

  /// Whether a library of that file name is in this process.
  static bool IsInProcess(const std::string& path);

 private:
  void* Address(const std::string& name) const;
  void* handle_;
};

/// The names that a shared library exports.
std::set<std::string> ExportedNames(const std::string& path);

}  // namespace test
