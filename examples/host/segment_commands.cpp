#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "mpg/mpg.h"
#include "progress_bar.h"

namespace host {
namespace {

struct ConcatArguments {
  std::string output;
  std::vector<std::string> segments;
  bool closeGaps = false;
  bool deleteSegments = false;
};

// Missing segments are skipped, unless all are: what fails is about those that are there.
std::vector<std::string> PresentOnes(const std::vector<std::string>& segments) {
  std::vector<std::string> present;
  for (const std::string& segment : segments) {
    if (WhyUnreadable(segment).empty()) present.push_back(segment);
  }
  return present.empty() ? segments : present;
}

void Concat(const ConcatArguments& arguments) {
  std::vector<const char*> list;
  for (const std::string& segment : arguments.segments) list.push_back(segment.c_str());
  list.push_back(nullptr);
  RunWithProgress(
      "joining", {PresentOnes(arguments.segments), arguments.output}, [&](const ProgressBar& bar) {
        return MPG_Merge(list.data(), arguments.output.c_str(), arguments.deleteSegments ? 1 : 0,
                         arguments.closeGaps ? 1 : 0, ProgressBar::Callback, bar.Context());
      });
}

}  // namespace

void AddSegmentCommands(CLI::App& app) {
  const auto arguments = std::make_shared<ConcatArguments>();
  CLI::App* const concat = app.add_subcommand("concat", "Join the segments of a download");
  concat->add_option("output", arguments->output, ".ts for a transport stream, else MP4")
      ->required();
  concat->add_option("segments", arguments->segments, "In playing order")->required();
  concat->add_flag("--close-gaps", arguments->closeGaps, "Take out jumps between segments");
  concat->add_flag("--delete-segments", arguments->deleteSegments,
                   "Delete the segments once they are joined");
  concat->callback([arguments] { Concat(*arguments); });
}

}  // namespace host
