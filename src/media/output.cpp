#include "media/output.h"

#include "platform/platform.h"

namespace mpg {
const AVOutputFormat& MuxerByName(const char* shortName) {
  const AVOutputFormat* const muxer = av_guess_format(shortName, nullptr, nullptr);
  if (muxer == nullptr) throw Error(AVERROR_EXIT);
  return *muxer;
}

Output::Output(const AVOutputFormat& muxer, const char* path, OnFailure onFailure)
    : path_(path), onFailure_(onFailure) {
  AVFormatContext* context = nullptr;
  Check(avformat_alloc_output_context2(&context, &muxer, nullptr, path));
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
  Check(avio_open2(&format_->pb, path_.c_str(), AVIO_FLAG_WRITE, nullptr, nullptr));
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

void Output::WriteHeader() {
  Check(avformat_write_header(format_.get(), nullptr));
}

int Output::Write(AVPacket& packet) {
  const int result = av_interleaved_write_frame(format_.get(), &packet);
  av_packet_unref(&packet);
  return result;
}

int Output::FlushQueue() {
  return av_interleaved_write_frame(format_.get(), nullptr);
}

void Output::Finish() {
  // What the trailer's own result could tell of lost bytes, closing tells too.
  av_write_trailer(format_.get());
  Check(CloseFile());
  deleteFile_ = false;
}

}  // namespace mpg
