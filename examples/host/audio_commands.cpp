#include <cstdint>
#include <memory>
#include <string>

#include "commands.h"
#include "mpg/mpg.h"
#include "progress_bar.h"

namespace host {
namespace {

struct Mp3Arguments {
  std::string input;
  std::string output;
  std::int32_t bitRate = 0;
};

void ConvertToMp3(const Mp3Arguments& arguments) {
  const std::string output =
      arguments.output.empty() ? WithoutExtension(arguments.input) + ".mp3" : arguments.output;
  RunWithProgress("converting", {{arguments.input}, output}, [&](const ProgressBar& bar) {
    return MP3_Convert(arguments.input.c_str(), output.c_str(), arguments.bitRate,
                       ProgressBar::Callback, bar.Context());
  });
}

}  // namespace

void AddAudioCommands(CLI::App& app) {
  const auto arguments = std::make_shared<Mp3Arguments>();
  CLI::App* const mp3 = app.add_subcommand("mp3", "Write a file's audio as MP3");
  mp3->add_option("input", arguments->input)->required();
  mp3->add_option("output", arguments->output,
                  "File to write; without it, the input's name with mp3");
  mp3->add_option("--bit-rate", arguments->bitRate,
                  "Bits per second; without it, as the input has");
  mp3->callback([arguments] { ConvertToMp3(*arguments); });
}

}  // namespace host
