#include <windows.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>

#include "support/host.h"
#include "support/media.h"
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

std::string NullDevice() {
  return "NUL";
}

int OpenFiles() {
  DWORD handles = 0;
  return GetProcessHandleCount(GetCurrentProcess(), &handles) ? static_cast<int>(handles) : 0;
}

int DirectoryError() {
  return -EACCES;
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

// Without a shell, and into a file: under Wine a pipe may stay open behind the program's end.
ProcessResult RunProgram(const std::string& command) {
  const ScratchFolder folder("program" + std::to_string(GetTickCount64()));
  const std::string outputPath = folder / "output";
  SECURITY_ATTRIBUTES inherited{.nLength = sizeof inherited, .bInheritHandle = TRUE};
  const auto open = [&](const char* path, DWORD access, DWORD creation) {
    return CreateFileA(path, access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited, creation,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
  };
  STARTUPINFOA startup{.cb = sizeof startup, .dwFlags = STARTF_USESTDHANDLES};
  startup.hStdInput = open("NUL", GENERIC_READ, OPEN_EXISTING);
  startup.hStdOutput = open(outputPath.c_str(), GENERIC_WRITE, CREATE_ALWAYS);
  startup.hStdError = startup.hStdOutput;

  PROCESS_INFORMATION process{};
  DWORD status = static_cast<DWORD>(-1);
  std::string line = command;
  if (CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                     &process)) {
    WaitForSingleObject(process.hProcess, INFINITE);
    GetExitCodeProcess(process.hProcess, &status);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
  }
  CloseHandle(startup.hStdInput);
  CloseHandle(startup.hStdOutput);
  std::string output = ReadBytes(outputPath);
  std::erase(output, '\r');
  return {static_cast<int>(status), output};
}

std::string Quoted(const std::string& word) {
  return '"' + word + '"';
}

}  // namespace test
