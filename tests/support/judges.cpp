#include "support/judges.h"

#include <filesystem>

#include "support/media.h"
#include "support/process.h"
#include "support/system.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace test {
namespace {

namespace fs = std::filesystem;

std::string Answer(const std::string& before, const std::string& path, const std::string& after,
                   bool isWritten) {
  const auto hash = [](const std::string& text) {
    return std::to_string(std::hash<std::string>{}(text));
  };
  // The programs are of the version whose libraries are in this process.
  const std::string question = std::string(av_version_info()) + avcodec_configuration() + before +
                               fs::path(path).filename().string() + after;
  const fs::path folder = MediaFolder() / "answers";
  const std::string kept =
      (folder / (hash(question) + "-" + hash(ReadBytes(path)))).generic_string();
  if (fs::exists(kept)) return ReadBytes(kept);

  fs::create_directories(folder);
  const std::string unfinished = kept + "." + std::to_string(ProcessId());
  const ProcessResult result = RunProgram(before + " " + Quoted(path) + " " + after +
                                          (isWritten ? " " + Quoted(unfinished) : ""));
  if (!isWritten) WriteBytes(unfinished, result.output);
  const std::string answer = ReadBytes(unfinished);
  if (result.status == 0) {
    fs::rename(unfinished, kept);
  } else {
    fs::remove(unfinished);
  }
  return answer;
}

}  // namespace

std::string Ask(const std::string& before, const std::string& path, const std::string& after) {
  return Answer(before, path, after, false);
}

std::string AskForBytes(const std::string& before, const std::string& path,
                        const std::string& after) {
  return Answer(before, path, after, true);
}

}  // namespace test
