#include "audio/file/ffmpeg/FFmpegInput.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace sonmere {

namespace {

constexpr int kBufferBytes = 32768;

}  // namespace

FFmpegInput::FFmpegInput(FileDescriptor file) : file_(std::move(file)) {
  auto* buffer = static_cast<unsigned char*>(av_malloc(kBufferBytes));
  if (!buffer) return;
  context_.reset(avio_alloc_context(buffer, kBufferBytes, 0, this, &read, nullptr, &seek));
  if (!context_) av_free(buffer);
}

int FFmpegInput::read(void* self, std::uint8_t* bytes, int count) {
  auto& input = *static_cast<FFmpegInput*>(self);
  for (;;) {
    const ssize_t result = ::pread(input.file_.get(), bytes, std::size_t(count), input.position_);
    if (result < 0 && errno == EINTR) continue;
    if (result < 0) return AVERROR(errno);
    if (result == 0) return AVERROR_EOF;
    input.position_ += result;
    return int(result);
  }
}

std::int64_t FFmpegInput::seek(void* self, std::int64_t offset, int whence) {
  auto& input = *static_cast<FFmpegInput*>(self);
  struct stat status {};
  if (::fstat(input.file_.get(), &status) != 0) return AVERROR(errno);
  whence &= ~AVSEEK_FORCE;
  if (whence == AVSEEK_SIZE) return status.st_size;
  if (whence == SEEK_CUR) offset += input.position_;
  if (whence == SEEK_END) offset += status.st_size;
  if (offset < 0) return AVERROR(EINVAL);
  return input.position_ = offset;
}

}  // namespace sonmere
