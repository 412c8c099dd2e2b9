#include "media/output.h"

#include <algorithm>
#include <string_view>

#include "platform/platform.h"

namespace mpg {

namespace {

const AVOutputFormat& Guess(const char* shortName, const char* path) {
  const AVOutputFormat* const muxer = av_guess_format(shortName, path, nullptr);
  if (muxer == nullptr) throw Error(AVERROR_EXIT);
  return *muxer;
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

const AVOutputFormat& MuxerByName(const char* shortName) {
  return Guess(shortName, nullptr);
}

const AVOutputFormat& MuxerForFile(const char* path) {
  return Guess(nullptr, path);
}

Output::Output(const AVOutputFormat& muxer, const char* path, OnFailure onFailure)
    : path_(path), onFailure_(onFailure) {
  AVFormatContext* context = nullptr;
  Check(avformat_alloc_output_context2(&context, &muxer, nullptr,
                                       platform::FfmpegName(path).c_str()));
  format_.reset(context);
}

Output::~Output() {
  CloseFile();
  if (deleteFile_) platform::RemoveFile(path_.c_str());
}

AVStream* Output::AddStream(const AVCodec* codec) {
  AVStream* const stream = avformat_new_stream(format_.get(), codec);
  if (stream == nullptr) throw Error(AVERROR_UNKNOWN);
  return stream;
}

void Output::CreateFile() {
  Check(avio_open2(&format_->pb, format_->url, AVIO_FLAG_WRITE, nullptr, nullptr));
  deleteFile_ = onFailure_ == OnFailure::kDeleteFile;
}

void Output::ExpectSize(std::int64_t bytes) {
  trimFile_ = platform::ReserveSpace(path_.c_str(), bytes);
}

// The first failure of any write so far, or of closing: a full disk often shows only here.
int Output::CloseFile() noexcept {
  const int closed = avio_closep(&format_->pb);
  if (trimFile_) platform::ReleaseSpareSpace(path_.c_str());
  trimFile_ = false;
  return closed;
}

void Output::PrepareRepackaging() {
  for (unsigned i = 0; i < format_->nb_streams; ++i) {
    AVStream& stream = *format_->streams[i];
    const char* const name = RepackagerName(*format_->oformat, *stream.codecpar);
    repackagers_.push_back(name == nullptr ? nullptr : MakeRepackager(name, stream));
  }
}

void Output::WriteHeader() {
  PrepareRepackaging();
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
  if (result >= 0) result = av_interleaved_write_frame(format_.get(), &packet);
  av_packet_unref(&packet);
  return result;
}

int Output::FlushQueue() {
  return av_interleaved_write_frame(format_.get(), nullptr);
}

void Output::CloseUnfinished() {
  Check(CloseFile());
}

void Output::Finish() {
  // What the trailer's own result could tell of lost bytes, closing tells too.
  av_write_trailer(format_.get());
  Check(CloseFile());
  deleteFile_ = false;
}

}  // namespace mpg
