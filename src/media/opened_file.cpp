#include "media/opened_file.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace mpg {
namespace {

// Demuxers that open files by themselves, by the name they are given: numbered pictures, scripts.
bool OpensByName(const AVInputFormat& demuxer) {
  constexpr std::string_view kScripts[] = {"avisynth", "vapoursynth"};
  return (demuxer.flags & AVFMT_NOFILE) != 0 || std::ranges::count(kScripts, demuxer.name) > 0;
}

// By name and content; where the name leads to a demuxer that would do more than read the file, by
// its content alone.
const AVInputFormat* FindDemuxer(const FileIo& io, const char* path) {
  const AVInputFormat* demuxer = nullptr;
  Check(av_probe_input_buffer2(io.Context(), &demuxer, path, nullptr, 0, 0));
  if (!OpensByName(*demuxer)) return demuxer;
  demuxer = nullptr;
  Check(av_probe_input_buffer2(io.Context(), &demuxer, "", nullptr, 0, 0));
  if (OpensByName(*demuxer)) throw Error(AVERROR_INVALIDDATA);
  return demuxer;
}

}  // namespace

OpenedFile::OpenedFile(const char* path, std::span<const std::uint8_t> prefix) {
  platform::File input;
  Check(input.Open(path, platform::Access::kRead));
  io_ = std::make_unique<FileIo>(std::move(input), FileIo::Direction::kRead, prefix);
  const AVInputFormat* const demuxer = FindDemuxer(*io_, path);
  InputContextPtr context(CheckAllocated(avformat_alloc_context()));
  io_->Serve(*context);
  // FFmpeg frees it where it fails.
  AVFormatContext* opened = context.release();
  const int result = avformat_open_input(&opened, path, demuxer, nullptr);
  format_.reset(opened);
  CheckResult(result);
}

bool OpenedFile::IsContainer(const char* name) const {
  return av_match_name(name, format_->iformat->name) != 0;
}

std::int64_t OpenedFile::FileSize() const {
  return std::max<std::int64_t>(avio_size(format_->pb), 0);
}

void OpenedFile::CheckResult(int result) const {
  Check(io_->FirstError());
  Check(result);
  if (io_->HasRefused()) throw Error(AVERROR_INVALIDDATA);
}

}  // namespace mpg
