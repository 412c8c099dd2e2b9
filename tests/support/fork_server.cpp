// Preloaded into a program, turns it into a server: linked once and forked for each command, since
// FFmpeg's programs, with two hundred libraries, take longer to link than most commands to run.
// Standard input is a socket of whole messages: the folder to work in, the file that takes the
// output, the command's words, each ended by a zero. The answer is the status as waitpid gives it.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

namespace {

using Main = int (*)(int, char**, char**);
Main programsMain;

int RunCommand(std::vector<char>& command, char** environment) {
  std::vector<char*> words;
  for (auto word = command.begin(); word != command.end();
       word = std::find(word, command.end(), '\0') + 1) {
    words.push_back(&*word);
  }
  dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
  const int output = open(words[1], O_WRONLY | O_CLOEXEC);
  if (output == -1 || chdir(words[0]) != 0) return 127;
  dup2(output, STDOUT_FILENO);
  dup2(output, STDERR_FILENO);
  const int count = static_cast<int>(words.size()) - 2;
  words.push_back(nullptr);
  return programsMain(count, words.data() + 2, environment);
}

int Serve(int, char**, char** environment) {
  for (;;) {
    const ssize_t size = recv(STDIN_FILENO, nullptr, 0, MSG_PEEK | MSG_TRUNC);
    if (size <= 0) return 0;
    std::vector<char> command(static_cast<std::size_t>(size));
    recv(STDIN_FILENO, command.data(), command.size(), 0);
    const pid_t child = fork();
    if (child == 0) return RunCommand(command, environment);
    int status = -1;
    waitpid(child, &status, 0);
    send(STDIN_FILENO, &status, sizeof(status), MSG_NOSIGNAL);
  }
}

}  // namespace

// What a program's first instructions call.
extern "C" [[gnu::visibility("default")]] int __libc_start_main(Main program, int count,
                                                                char** words, void (*init)(),
                                                                void (*fini)(), void (*unload)(),
                                                                void* stackEnd) {
  programsMain = program;
  const auto start =
      reinterpret_cast<decltype(&__libc_start_main)>(dlsym(RTLD_NEXT, "__libc_start_main"));
  return start(&Serve, count, words, init, fini, unload, stackEnd);
}
