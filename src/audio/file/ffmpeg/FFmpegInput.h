#pragma once

#include <memory>

#include "base/FileDescriptor.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswresample/swresample.h>
}

namespace sonmere {

struct FFmpegDeleter {
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(SwrContext* context) const { swr_free(&context); }
  void operator()(AVIOContext* context) const {
    av_freep(&context->buffer);
    avio_context_free(&context);
  }
};

template <class T>
using FFmpegOwned = std::unique_ptr<T, FFmpegDeleter>;

// The bytes of one descriptor, for libavformat: whatever a file's header says, nothing else is opened.
// Threads: one at a time.
class FFmpegInput {
 public:
  explicit FFmpegInput(FileDescriptor file);
  FFmpegInput(const FFmpegInput&) = delete;
  FFmpegInput& operator=(const FFmpegInput&) = delete;

  // Null when there is no memory.
  AVIOContext* context() const { return context_.get(); }
  int descriptor() const { return file_.get(); }

 private:
  static int read(void* self, std::uint8_t* bytes, int count);
  static std::int64_t seek(void* self, std::int64_t offset, int whence);

  const FileDescriptor file_;
  std::int64_t position_ = 0;
  FFmpegOwned<AVIOContext> context_;
};

}  // namespace sonmere
