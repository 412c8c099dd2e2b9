// A small post-processor of a download folder: joins what belongs together, as soon as it is there.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "commands.h"
#include "folder_changes.h"
#include "mpg/mpg.h"
#include "progress_bar.h"

namespace host {
namespace {

namespace fs = std::filesystem;

struct WatchArguments {
  std::string folder;
  bool once = false;
  bool deleteSources = false;
};

struct Job {
  std::string name;  // of the result, with its folder, without extension
  std::vector<std::string> inputs;
  std::string list;  // the file that lists the inputs; empty for a pair of video and audio
};

// What tells that files are still growing.
std::string StateOf(const std::vector<std::string>& files) {
  std::string state;
  for (const std::string& file : files) {
    std::error_code error;
    state += std::to_string(fs::file_size(file, error)) + '/';
    state += std::to_string(fs::last_write_time(file, error).time_since_epoch().count()) + ' ';
  }
  return state;
}

// The lines of a list are names in its folder.
std::vector<std::string> ReadList(const fs::path& list) {
  std::vector<std::string> segments;
  std::ifstream file(list);
  for (std::string line; std::getline(file, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (!line.empty()) segments.push_back((list.parent_path() / line).string());
  }
  return segments;
}

// NAME.video.EXT with NAME.audio.EXT, and NAME.segments with all that it lists.
std::vector<Job> FindJobs(const std::string& folder) {
  std::map<std::string, std::string> videos;
  std::map<std::string, std::string> audios;
  std::vector<Job> jobs;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    const std::string path = entry.path().string();
    const std::string stem = WithoutExtension(path);
    if (stem.ends_with(".video")) videos[WithoutExtension(stem)] = path;
    if (stem.ends_with(".audio")) audios[WithoutExtension(stem)] = path;
    if (entry.path().extension() == ".segments") jobs.push_back({stem, ReadList(path), path});
  }
  for (const auto& [name, video] : videos) {
    if (audios.contains(name)) jobs.push_back({name, {video, audios[name]}, {}});
  }
  std::erase_if(jobs, [](const Job& job) {
    const bool isComplete = std::ranges::all_of(
        job.inputs, [](const std::string& input) { return WhyUnreadable(input).empty(); });
    return !isComplete || job.inputs.empty();
  });
  return jobs;
}

// The extension that the library advises.
std::int32_t ChooseExtension(const Job& job, std::string& extension) {
  if (job.list.empty()) {
    MergeDecision decision{};
    const std::int32_t result =
        MPG_MergeOP2(job.inputs[0].c_str(), job.inputs[1].c_str(), &decision);
    extension = decision.extension;
    return result;
  }
  // Segments become MP4 where that suits their codecs, else a transport stream.
  char advice[32];
  MPG_GetDefExtension(job.inputs.front().c_str(), advice, sizeof advice);
  extension = std::string(advice) == "mp4" ? "mp4" : "ts";
  return 0;
}

std::int32_t RunJoin(const Job& job, const std::string& output, const ProgressBar& bar) {
  if (job.list.empty()) {
    return MPG_MergeAV(job.inputs[0].c_str(), job.inputs[1].c_str(), output.c_str(),
                       ProgressBar::Callback, bar.Context());
  }
  std::vector<const char*> segments;
  for (const std::string& input : job.inputs) segments.push_back(input.c_str());
  segments.push_back(nullptr);
  return MPG_Merge(segments.data(), output.c_str(), 0, 1, ProgressBar::Callback, bar.Context());
}

void DeleteSources(const Job& job) {
  std::error_code error;
  for (const std::string& input : job.inputs) fs::remove(input, error);
  if (!job.list.empty()) fs::remove(job.list, error);
}

// Joins beside the final name, renames, makes the thumbnail; the sources stay until all is done.
bool Process(const Job& job, bool deleteSources) {
  std::string extension;
  std::int32_t result = ChooseExtension(job, extension);
  const std::string output = job.name + "." + extension;
  const std::string part = job.name + ".part." + extension;
  std::error_code error;
  if (result == 0 && fs::exists(output, error)) return true;  // done before
  bool stopped = false;
  if (result == 0) {
    const ProgressBar bar(fs::path(output).filename().string());
    result = RunJoin(job, part, bar);
    stopped = bar.WasStopped();
  }
  if (result == 0 && !stopped) fs::rename(part, output, error);
  if (result != 0 || stopped || error) {
    std::error_code ignored;
    fs::remove(part, ignored);
    std::fprintf(stderr, "%s: %s\n", output.c_str(),
                 stopped       ? "stopped"
                 : result == 0 ? error.message().c_str()
                               : Reason(result, {job.inputs, part}).c_str());
    return false;
  }
  const bool hasPicture =
      MPG_GetImageP(MPG_IMAGE_JPEG, output.c_str(), (job.name + ".jpg").c_str(), 10, 180, 85) != 0;
  if (deleteSources) DeleteSources(job);
  std::printf("wrote %s%s\n", output.c_str(), hasPicture ? " and its thumbnail" : "");
  std::fflush(stdout);
  return true;
}

void Watch(const WatchArguments& arguments) {
  FolderChanges changes(arguments.folder);
  std::map<std::string, std::string> seen;     // of each job at the last look
  std::map<std::string, std::string> handled;  // of each job that was run, well or not
  bool allWell = true;
  while (!IsInterrupted()) {
    bool isSettling = false;
    for (const Job& job : FindJobs(arguments.folder)) {
      const std::string state = StateOf(job.inputs);
      if (handled[job.name] == state || IsInterrupted()) continue;
      if (seen[job.name] != state) {  // files may still grow: the next look decides
        seen[job.name] = state;
        isSettling = true;
        continue;
      }
      handled[job.name] = state;
      allWell = Process(job, arguments.deleteSources) && allWell;
    }
    if (isSettling) {
      std::this_thread::sleep_for(std::chrono::seconds(1));
    } else if (arguments.once) {
      break;
    } else {
      changes.Wait();
    }
  }
  if (!allWell || IsInterrupted()) Exit(kFailedOrStopped);
}

}  // namespace

void AddWatchCommand(CLI::App& app) {
  const auto arguments = std::make_shared<WatchArguments>();
  CLI::App* const watch = app.add_subcommand(
      "watch",
      "Join what arrives in a folder: NAME.video.* with NAME.audio.*, and the files that "
      "NAME.segments lists, one a line");
  watch->add_option("folder", arguments->folder)->required()->check(CLI::ExistingDirectory);
  watch->add_flag("--once", arguments->once, "End when all that is there is done");
  watch->add_flag("--delete-sources", arguments->deleteSources, "Once all is done");
  watch->callback([arguments] { Watch(*arguments); });
}

}  // namespace host
