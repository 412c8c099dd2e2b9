#include "media/output.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "mpg/mpg.h"
#include "platform/platform.h"

namespace mpg {

namespace {

const AVOutputFormat& Guess(const char* shortName, const char* path) {
  const AVOutputFormat* const muxer = av_guess_format(shortName, path, nullptr);
  if (muxer == nullptr) throw Error(AVERROR_EXIT);
  return *muxer;
}

// What the muxer would choose wrongly; 0 leaves the choice to it.
std::uint32_t TagFor(const AVOutputFormat& muxer, const AVCodecParameters& parameters) {
  const std::string_view name = muxer.name;
  const bool hasHeader = parameters.extradata_size > 0;
  // Apple's players refuse the other tag. This one promises that the parameter sets stand in the
  // header.
  if (parameters.codec_id == AV_CODEC_ID_HEVC && hasHeader && (name == "mp4" || name == "mov"))
    return MKTAG('h', 'v', 'c', '1');
  // Newer muxers take ADTS under this tag alone, older ones don't know it.
  constexpr std::uint32_t kAdts = 0x1610;
  const bool isAdts = parameters.codec_id == AV_CODEC_ID_AAC && !hasHeader;
  if (isAdts && name == "avi" && av_codec_get_id(muxer.codec_tag, kAdts) == AV_CODEC_ID_AAC)
    return kAdts;
  return 0;
}

// The filter that puts start codes before the stream's units in place of their lengths; null where
// the units have start codes already, or the muxer takes care of it.
const char* RepackagerName(const AVOutputFormat& muxer, const AVCodecParameters& parameters) {
  constexpr std::string_view kStartCodesOnly[] = {"avi", "mpeg", "vob", "dvd", "svcd"};
  const bool hasLengths = parameters.extradata_size > 0 && parameters.extradata[0] == 1;
  if (!hasLengths || std::ranges::count(kStartCodesOnly, muxer.name) == 0) return nullptr;
  if (parameters.codec_id == AV_CODEC_ID_H264) return "h264_mp4toannexb";
  if (parameters.codec_id == AV_CODEC_ID_HEVC) return "hevc_mp4toannexb";
  return nullptr;
}

// Announces in the stream what the filter makes of its packets.
BitstreamFilterPtr MakeRepackager(const char* name, AVStream& target) {
  AVBSFContext* context = nullptr;
  Check(av_bsf_alloc(av_bsf_get_by_name(name), &context));
  BitstreamFilterPtr filter(context);
  Check(avcodec_parameters_copy(filter->par_in, target.codecpar));
  filter->time_base_in = target.time_base;
  Check(av_bsf_init(filter.get()));
  Check(avcodec_parameters_copy(target.codecpar, filter->par_out));
  return filter;
}

}  // namespace

void RequireOtherFile(const char* outputPath, const char* inputPath) {
  if (Check(platform::CompareFiles(outputPath, inputPath)) != 0) {
    throw Error(MPG_ERR_INVALID_PARAMETER);
  }
}

const AVOutputFormat& MuxerByName(const char* shortName) {
  return Guess(shortName, nullptr);
}

const AVOutputFormat& MuxerForFile(const char* path) {
  const AVOutputFormat& muxer = Guess(nullptr, path);
  // Playlists with their segments, numbered pictures: they open files by themselves.
  if ((muxer.flags & AVFMT_NOFILE) != 0) throw Error(AVERROR_EXIT);
  return muxer;
}

Output::Output(const AVOutputFormat& muxer, const char* path, OnFailure onFailure)
    : path_(path), onFailure_(onFailure) {
  AVFormatContext* context = nullptr;
  Check(avformat_alloc_output_context2(&context, &muxer, nullptr, path));
  format_.reset(context);
}

Output::~Output() {
  if (io_) static_cast<void>(io_->Close());
  if (deleteFile_) platform::RemoveFile(path_);
}

AVStream* Output::AddStream(const AVCodec* codec) {
  AVStream* const stream = avformat_new_stream(format_.get(), codec);
  if (stream == nullptr) throw Error(AVERROR(ENOMEM));
  return stream;
}

void Output::CreateFile() {
  // What stands at the path and can't be replaced isn't the output's.
  platform::File file;
  Check(file.Open(path_, platform::Access::kCreate));
  deleteFile_ = onFailure_ == OnFailure::kDeleteFile;
  io_.emplace(std::move(file), FileIo::Direction::kWrite);
  io_->Serve(*format_);
}

void Output::ExpectSize(std::int64_t bytes) {
  io_->File().Reserve(bytes);
}

void Output::PrepareRepackaging() {
  for (unsigned i = 0; i < format_->nb_streams; ++i) {
    AVStream& stream = *format_->streams[i];
    const char* const name = RepackagerName(*format_->oformat, *stream.codecpar);
    repackagers_.push_back(name == nullptr ? nullptr : MakeRepackager(name, stream));
  }
}

void Output::WriteHeader() {
  for (unsigned i = 0; i < format_->nb_streams; ++i) {
    AVCodecParameters& parameters = *format_->streams[i]->codecpar;
    if (parameters.codec_tag == 0) parameters.codec_tag = TagFor(*format_->oformat, parameters);
  }
  PrepareRepackaging();
  if (std::string_view(format_->oformat->name) == "avi") aviTicks_.emplace(*format_);
  Check(avformat_write_header(format_.get(), nullptr));
}

int Output::Write(AVPacket& packet) {
  AVBSFContext* const repackager =
      repackagers_[static_cast<std::size_t>(packet.stream_index)].get();
  int result = 0;
  if (repackager != nullptr) {
    // One packet in, one out.
    result = av_bsf_send_packet(repackager, &packet);
    if (result >= 0) result = av_bsf_receive_packet(repackager, &packet);
  }
  if (result >= 0) result = Interleave(packet);
  av_packet_unref(&packet);
  if (result >= 0) hasPackets_ = true;
  return result;
}

int Output::Interleave(AVPacket& packet) {
  if (!aviTicks_) return av_interleaved_write_frame(format_.get(), &packet);
  aviTicks_->Put(packet);
  int result = 0;
  while (result >= 0 && aviTicks_->Take(packet)) {
    result = av_interleaved_write_frame(format_.get(), &packet);
  }
  return result;
}

void Output::FlushQueue(WriteFailures& failures) {
  int result = 0;
  if (aviTicks_) {
    aviTicks_->End();
    const PacketPtr packet = MakePacket();
    while (aviTicks_->Take(*packet)) {
      failures.Count(av_interleaved_write_frame(format_.get(), packet.get()));
    }
  }
  // Each call goes as far as the first packet that the muxer refuses, which is gone then.
  while ((result = av_interleaved_write_frame(format_.get(), nullptr)) < 0) {
    Check(io_->FirstError());
    failures.Count(result);
  }
}

void Output::CloseUnfinished() {
  Check(io_->Close());
}

void Output::Finish(WriteFailures& failures) {
  FlushQueue(failures);
  const int result = av_write_trailer(format_.get());
  Check(io_->Close());
  Check(result);
  deleteFile_ = false;
}

}  // namespace mpg
