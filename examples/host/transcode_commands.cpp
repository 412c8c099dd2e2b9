#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "commands.h"
#include "mpg/mpg.h"
#include "progress_bar.h"

namespace host {
namespace {

struct TranscodeArguments {
  std::string input;
  std::string output;
  TranscodeParams params{};
};

// A HostString that points at a text; the text must outlive it.
HostString View(const std::string& text) {
  HostString view{};
  view.characters.pointer = text.c_str();
  view.length = text.size();
  view.capacity = text.size() < 16 ? 16 : text.size();
  return view;
}

constexpr std::int32_t kByName = -1;

// The format that a name announces; MP4 where it announces none.
std::int32_t FormatOf(const std::string& path) {
  const std::string extension = path.substr(path.rfind('.') + 1);
  for (OutputFormatId id = MPG_FORMAT_3GP; id <= MPG_FORMAT_WMV; ++id) {
    if (extension == MPG_GetDefExt(id)) return static_cast<std::int32_t>(id);
  }
  return MPG_FORMAT_MP4;
}

void Transcode(TranscodeArguments& arguments) {
  if (arguments.params.formatId == kByName) arguments.params.formatId = FormatOf(arguments.output);
  const HostString input = View(arguments.input);
  const HostString output = View(arguments.output);
  RunWithProgress("transcoding", {{arguments.input}, arguments.output},
                  [&](const ProgressBar& bar) {
                    return MPG_Transcode(&input, &output, &arguments.params, ProgressBar::Callback,
                                         bar.Context());
                  });
}

template <class Names>
CLI::Option* AddChoice(CLI::App& command, const std::string& name, std::int32_t& value,
                       const Names& names) {
  return command.add_option(name, value)->transform(CLI::CheckedTransformer(names));
}

}  // namespace

void AddTranscodeCommands(CLI::App& app) {
  using Names = std::map<std::string, std::int32_t>;
  const Names formats = {
      {"3gp", MPG_FORMAT_3GP}, {"aac", MPG_FORMAT_AAC},   {"avi", MPG_FORMAT_AVI},
      {"mp3", MPG_FORMAT_MP3}, {"mp4", MPG_FORMAT_MP4},   {"mpg", MPG_FORMAT_MPEG},
      {"ts", MPG_FORMAT_TS},   {"webm", MPG_FORMAT_WEBM}, {"wmv", MPG_FORMAT_WMV}};
  const Names audioCodecs = {{"mp3", 1}, {"aac", 2}, {"amr-nb", 3}, {"amr-wb", 4}};
  const Names videoCodecs = {{"xvid", 1}, {"dx50", 2}, {"divx", 3},
                             {"h263", 4}, {"h264", 5}, {"mpeg4", 6}};

  const auto arguments = std::make_shared<TranscodeArguments>();
  TranscodeParams& params = arguments->params;
  params.formatId = kByName;
  CLI::App* const transcode =
      app.add_subcommand("transcode", "Rewrite a file; streams without a setting are copied");
  transcode->add_option("input", arguments->input)->required();
  transcode->add_option("output", arguments->output)->required();
  AddChoice(*transcode, "--format", params.formatId, formats)
      ->description("Else by the output's extension, or mp4");
  AddChoice(*transcode, "--audio-codec", params.targetAudioCodec, audioCodecs);
  transcode->add_option("--audio-rate", params.targetAudioBitRate, "Bits per second");
  transcode->add_option("--sample-rate", params.targetSampleRate, "Hz");
  transcode->add_option("--channels", params.targetChannels, "1 or 2");
  AddChoice(*transcode, "--video-codec", params.targetVideoCodec, videoCodecs);
  transcode->add_option("--width", params.targetWidth, "Pixels");
  transcode->add_option("--height", params.targetHeight, "Pixels");
  transcode->add_option("--scale", params.scalePercent, "Percent; with --width or --height");
  transcode->add_option("--video-rate", params.targetVideoBitRate, "Bits, or kilobits, per second");
  transcode->add_flag("--reencode-video", params.videoReencode);
  transcode->callback([arguments] { Transcode(*arguments); });
}

}  // namespace host
