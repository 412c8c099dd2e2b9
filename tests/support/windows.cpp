#include <windows.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "support/host.h"
#include "support/process.h"
#include "support/system.h"

namespace test {
namespace {

// A place in a loaded library, counted from its start as its headers count.
template <class Record>
const Record* At(HMODULE library, DWORD offset) {
  return reinterpret_cast<const Record*>(reinterpret_cast<const char*>(library) + offset);
}

}  // namespace

int ProcessId() {
  return static_cast<int>(GetCurrentProcessId());
}

// Under Wine the device of the system below can be had. It must not be given to what deletes it.
std::string FullDevice() {
  const std::string device = "Z:/dev/full";
  return std::ofstream(device).is_open() ? device : "";
}

std::string NullDevice() {
  return "NUL";
}

std::size_t LongestPath() {
  return MAX_PATH - 1;
}

int DirectoryError() {
  return -EACCES;
}

int NoNameError() {
  return -EINVAL;
}

void MakeLink(const std::string& target, const std::string& link) {
  std::filesystem::create_hard_link(target, link);
}

LoadedLibrary::LoadedLibrary(const std::string& path) : handle_(LoadLibraryA(path.c_str())) {
  if (handle_ == nullptr) throw std::runtime_error(path + " can't be loaded");
}

LoadedLibrary::~LoadedLibrary() {
  FreeLibrary(static_cast<HMODULE>(handle_));
}

bool LoadedLibrary::IsInProcess(const std::string& path) {
  return GetModuleHandleA(path.c_str()) != nullptr;
}

void* LoadedLibrary::Address(const std::string& name) const {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), name.c_str()));
}

std::set<std::string> ExportedNames(const std::string& path) {
  const HMODULE library = LoadLibraryExA(path.c_str(), nullptr, DONT_RESOLVE_DLL_REFERENCES);
  if (library == nullptr) return {};
  const auto& header = *At<IMAGE_DOS_HEADER>(library, 0);
  const auto& image = *At<IMAGE_NT_HEADERS>(library, static_cast<DWORD>(header.e_lfanew));
  const DWORD offset =
      image.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress;
  const auto& exports = *At<IMAGE_EXPORT_DIRECTORY>(library, offset);
  const DWORD* const offsets = At<DWORD>(library, exports.AddressOfNames);
  std::set<std::string> names;
  for (DWORD i = 0; i < exports.NumberOfNames; ++i) names.insert(At<char>(library, offsets[i]));
  FreeLibrary(library);
  return names;
}

ProcessResult RunProgram(const std::string& command) {
  std::FILE* const pipe = _popen((command + " 2>&1 <NUL").c_str(), "rt");
  if (pipe == nullptr) return {-1, "popen failed"};
  std::string output;
  std::array<char, 4096> piece;
  while (const std::size_t size = std::fread(piece.data(), 1, piece.size(), pipe)) {
    output.append(piece.data(), size);
  }
  return {_pclose(pipe), output};
}

std::string Quoted(const std::string& word) {
  return '"' + word + '"';
}

bool Unprivileged::IsPossible() {
  return false;
}

Unprivileged::Unprivileged() {}

Unprivileged::~Unprivileged() {}

bool FileSizeLimit::IsPossible() {
  return false;
}

FileSizeLimit::FileSizeLimit(std::int64_t bytes) : previous_(static_cast<std::uint64_t>(bytes)) {}

FileSizeLimit::~FileSizeLimit() {}

}  // namespace test
