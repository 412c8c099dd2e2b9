#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "support/process.h"
#include "support/system.h"

namespace test {

int ProcessId() {
  return getpid();
}

std::string NullDevice() {
  return "/dev/null";
}

int OpenFiles() {
  const std::filesystem::path folder = "/proc/self/fd";
  if (!std::filesystem::exists(folder)) return 0;
  return static_cast<int>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

int DirectoryError() {
  return -EISDIR;
}

void MakeLink(const std::string& target, const std::string& link) {
  std::filesystem::create_symlink(target, link);
}

LoadedLibrary::LoadedLibrary(const std::string& path)
    : handle_(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (handle_ == nullptr) throw std::runtime_error(dlerror());
}

LoadedLibrary::~LoadedLibrary() {
  dlclose(handle_);
}

bool LoadedLibrary::IsInProcess(const std::string& path) {
  void* const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (handle != nullptr) dlclose(handle);
  return handle != nullptr;
}

void* LoadedLibrary::Address(const std::string& name) const {
  return dlsym(handle_, name.c_str());
}

std::set<std::string> ExportedNames(const std::string& path) {
  std::istringstream lines(RunProgram("nm -D --defined-only " + Quoted(path)).output);
  std::set<std::string> names;
  for (std::string address, kind, name; lines >> address >> kind >> name;) names.insert(name);
  return names;
}

ProcessResult RunProgram(const std::string& command) {
  std::FILE* const pipe = popen((command + " 2>&1 </dev/null").c_str(), "r");
  if (pipe == nullptr) return {-1, "popen failed"};
  std::string output;
  std::array<char, 4096> piece;
  while (const std::size_t size = std::fread(piece.data(), 1, piece.size(), pipe)) {
    output.append(piece.data(), size);
  }
  const int status = pclose(pipe);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

std::string Quoted(const std::string& word) {
  std::string quoted = "'";
  for (const char letter : word)
    quoted += letter == '\'' ? std::string("'\\''") : std::string(1, letter);
  return quoted + "'";
}

}  // namespace test
