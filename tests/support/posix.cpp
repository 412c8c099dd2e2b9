#include <dlfcn.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <wordexp.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>
#include <vector>

#include "support/process.h"
#include "support/system.h"

namespace test {
namespace {

std::string ReadAll(std::FILE* file) {
  std::string content;
  std::array<char, 4096> piece;
  while (const std::size_t size = std::fread(piece.data(), 1, piece.size(), file)) {
    content.append(piece.data(), size);
  }
  return content;
}

int ExitStatus(int status) {
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The words of a shell command, each ended by a zero; nothing when only a shell can tell them.
std::optional<std::string> Words(const std::string& command) {
  wordexp_t words;
  if (wordexp(command.c_str(), &words, WRDE_NOCMD) != 0) return std::nullopt;
  std::string joined;
  for (std::size_t i = 0; i < words.we_wordc; ++i) joined += words.we_wordv[i] + std::string(1, 0);
  wordfree(&words);
  return joined;
}

// A program with fork_server.cpp in it, which ends with this process.
class ForkServer {
 public:
  explicit ForkServer(std::string program) : program_(std::move(program)) {}
  ~ForkServer() {
    if (socket_ == -1) return;
    close(socket_);
    waitpid(process_, nullptr, 0);
  }
  ForkServer(const ForkServer&) = delete;
  ForkServer& operator=(const ForkServer&) = delete;

  bool IsStarted() const { return socket_ != -1; }

  // Nothing when the command has to be run in another way.
  std::optional<ProcessResult> Run(const std::string& command) {
    if (!command.starts_with(program_ + " ")) return std::nullopt;
    const std::optional<std::string> words = Words(command);
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> output(std::tmpfile(), &std::fclose);
    if (!words || output == nullptr) return std::nullopt;
    if (!IsStarted()) Start();

    const std::string message = std::filesystem::current_path().string() + '\0' + "/proc/" +
                                std::to_string(getpid()) + "/fd/" +
                                std::to_string(fileno(output.get())) + '\0' + *words;
    int status = 0;
    if (send(socket_, message.data(), message.size(), MSG_NOSIGNAL) == -1 ||
        recv(socket_, &status, sizeof(status), 0) != sizeof(status)) {
      return std::nullopt;
    }
    // As a shell has it: not run at all.
    if (ExitStatus(status) == 127) return std::nullopt;
    return ProcessResult{ExitStatus(status), ReadAll(output.get())};
  }

 private:
  void Start() {
    const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    char* const words[] = {program_.data(), nullptr};
    std::array<int, 2> ends{-1, -1};
    socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data());
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDIN_FILENO);
    setenv("LD_PRELOAD", (folder / "fork_server.so").c_str(), 1);
    posix_spawnp(&process_, words[0], &actions, nullptr, words, environ);
    unsetenv("LD_PRELOAD");
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    socket_ = ends[0];
  }

  std::string program_;
  int socket_ = -1;
  pid_t process_ = 0;
};

std::array<ForkServer, 2>& Servers() {
  static std::array<ForkServer, 2> servers{ForkServer("ffmpeg"), ForkServer("ffprobe")};
  return servers;
}

}  // namespace

int ProcessId() {
  return getpid();
}

std::string NullDevice() {
  return "/dev/null";
}

int OpenFiles() {
  const std::filesystem::path folder = "/proc/self/fd";
  if (!std::filesystem::exists(folder)) return 0;
  return static_cast<int>(std::distance(std::filesystem::directory_iterator(folder), {}) -
                          std::ranges::count_if(Servers(), &ForkServer::IsStarted));
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
  for (ForkServer& server : Servers()) {
    if (std::optional<ProcessResult> result = server.Run(command)) return *std::move(result);
  }
  std::FILE* const pipe = popen((command + " 2>&1 </dev/null").c_str(), "re");
  if (pipe == nullptr) return {-1, "popen failed"};
  const std::string output = ReadAll(pipe);
  return {ExitStatus(pclose(pipe)), output};
}

std::string Quoted(const std::string& word) {
  std::string quoted = "'";
  for (const char letter : word)
    quoted += letter == '\'' ? std::string("'\\''") : std::string(1, letter);
  return quoted + "'";
}

}  // namespace test
