#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "commands.h"
#include "mpg/mpg.h"
#include "progress_bar.h"

namespace host {
namespace {

struct EditArguments {
  std::string input;
  std::string output;
  std::uint32_t start = 0;
  std::uint32_t end = 0;
  std::int32_t milliseconds = 0;
};

void AddFiles(CLI::App& command, EditArguments& arguments) {
  command.add_option("input", arguments.input)->required();
  command.add_option("output", arguments.output)->required();
}

void Trim(const EditArguments& arguments) {
  RequireSuccess("trim",
                 MPG_SaveTrimmedVideo(arguments.input.c_str(), arguments.output.c_str(),
                                      arguments.start, arguments.end),
                 {{arguments.input}, arguments.output});
  std::printf("wrote %s\n", arguments.output.c_str());
}

void Crop(const EditArguments& arguments) {
  RequireSuccess("crop", MPG_Crop(arguments.input.c_str(), arguments.output.c_str()),
                 {{arguments.input}, arguments.output});
  std::printf("wrote %s\n", arguments.output.c_str());
}

void Shift(const EditArguments& arguments) {
  RunWithProgress("shifting", {{arguments.input}, arguments.output}, [&](const ProgressBar& bar) {
    return MPG_ShiftAudio(arguments.input.c_str(), arguments.output.c_str(), arguments.milliseconds,
                          ProgressBar::Callback, bar.Context());
  });
}

}  // namespace

void AddEditCommands(CLI::App& app) {
  const auto arguments = std::make_shared<EditArguments>();

  CLI::App* const trim = app.add_subcommand("trim", "Keep the part between two times");
  AddFiles(*trim, *arguments);
  trim->add_option("start", arguments->start, "Seconds")->required();
  trim->add_option("end", arguments->end, "Seconds")->required();
  trim->callback([arguments] { Trim(*arguments); });

  CLI::App* const crop = app.add_subcommand("crop", "Copy a video, proving that it decodes");
  AddFiles(*crop, *arguments);
  crop->callback([arguments] { Crop(*arguments); });

  CLI::App* const shift = app.add_subcommand("shift", "Move the audio against the pictures");
  AddFiles(*shift, *arguments);
  shift->add_option("milliseconds", arguments->milliseconds, "Later, or earlier when negative")
      ->required();
  shift->callback([arguments] { Shift(*arguments); });
}

}  // namespace host
