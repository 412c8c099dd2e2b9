#include "media/output.h"

#include <algorithm>
#include <cstdint>

#include "platform/platform.h"

namespace mpg {
namespace {

constexpr int kBlockSize = 1 << 20;

int WriteBlock(void* opaque, std::uint8_t* data, int size) noexcept {
  auto* const file = static_cast<AVIOContext*>(opaque);
  // An unbuffered file refuses more than this at once.
  const int piece = file->max_packet_size > 0 ? file->max_packet_size : size;
  for (int done = 0; done < size; done += piece) {
    avio_write(file, data + done, std::min(piece, size - done));
  }
  return file->error < 0 ? file->error : size;
}

std::int64_t SeekFile(void* opaque, std::int64_t offset, int whence) noexcept {
  auto* const file = static_cast<AVIOContext*>(opaque);
  return (whence & AVSEEK_SIZE) != 0 ? avio_size(file) : avio_seek(file, offset, whence);
}

}  // namespace

OutputFile::OutputFile(const char* path) {
  // Unbuffered: the blocks go to the system as they come.
  Check(avio_open2(&file_, path, AVIO_FLAG_WRITE | AVIO_FLAG_DIRECT, nullptr, nullptr));
  auto* const block = static_cast<unsigned char*>(av_malloc(kBlockSize));
  if (block != nullptr) {
    buffer_ = avio_alloc_context(block, kBlockSize, 1, file_, nullptr, WriteBlock, SeekFile);
    if (buffer_ == nullptr) av_free(block);
  }
  if (buffer_ == nullptr) {
    avio_closep(&file_);
    throw Error(AVERROR(ENOMEM));
  }
  buffer_->seekable = file_->seekable;
  // Without it every packet flushes the buffer.
  buffer_->min_packet_size = kBlockSize;
}

OutputFile::~OutputFile() { Close(); }

int OutputFile::Close() noexcept {
  if (buffer_ == nullptr) return 0;
  avio_flush(buffer_);
  const int written = buffer_->error;
  av_freep(&buffer_->buffer);
  avio_context_free(&buffer_);
  const int closed = avio_closep(&file_);
  return written < 0 ? written : closed;
}

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
  format_->pb = nullptr;
  file_.reset();
  if (deleteFile_) platform::RemoveFile(path_.c_str());
}

AVStream* Output::AddStream(const AVCodec* codec) {
  AVStream* const stream = avformat_new_stream(format_.get(), codec);
  if (stream == nullptr) throw Error(AVERROR_UNKNOWN);
  return stream;
}

void Output::CreateFile() {
  file_ = std::make_unique<OutputFile>(path_.c_str());
  deleteFile_ = onFailure_ == OnFailure::kDeleteFile;
  format_->pb = file_->Buffer();
}

void Output::WriteHeader() { Check(avformat_write_header(format_.get(), nullptr)); }

int Output::Write(AVPacket& packet) {
  const int result = av_interleaved_write_frame(format_.get(), &packet);
  av_packet_unref(&packet);
  return result;
}

int Output::FlushQueue() { return av_interleaved_write_frame(format_.get(), nullptr); }

void Output::Finish() {
  // What the trailer's own result could tell of lost bytes is in the file's.
  av_write_trailer(format_.get());
  format_->pb = nullptr;
  Check(file_->Close());
  deleteFile_ = false;
}

}  // namespace mpg
