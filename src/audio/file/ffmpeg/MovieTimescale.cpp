#include "audio/file/ffmpeg/MovieTimescale.h"

#include <unistd.h>

#include <cstring>
#include <optional>

namespace sonmere {

namespace {

// Boxes that are looked at before giving up: a file of fragments may have very many.
constexpr int kMostBoxes = 64;

struct Box {
  char type[4];
  std::uint64_t content;  // where it begins
  std::uint64_t end;
};

std::optional<std::uint64_t> numberAt(int fd, std::uint64_t at, int bytes) {
  std::uint8_t raw[8];
  if (::pread(fd, raw, std::size_t(bytes), off_t(at)) != bytes) return std::nullopt;
  std::uint64_t value = 0;
  for (int i = 0; i < bytes; ++i) value = value << 8 | raw[i];
  return value;
}

std::optional<Box> boxAt(int fd, std::uint64_t at) {
  const auto size = numberAt(fd, at, 4);
  Box box{};
  if (!size || ::pread(fd, box.type, 4, off_t(at + 4)) != 4) return std::nullopt;
  box.content = at + 8;
  box.end = at + *size;
  if (*size == 1) {
    const auto large = numberAt(fd, at + 8, 8);
    if (!large || *large > std::uint64_t(1) << 62) return std::nullopt;
    box.content += 8;
    box.end = at + *large;
  }
  if (box.end < box.content) return std::nullopt;
  return box;
}

std::optional<Box> find(int fd, const char* type, std::uint64_t from) {
  for (int i = 0; i < kMostBoxes; ++i) {
    const auto box = boxAt(fd, from);
    if (!box || std::memcmp(box->type, type, 4) == 0) return box;
    from = box->end;
  }
  return std::nullopt;
}

}  // namespace

std::uint32_t movieTimescale(int fd) {
  const auto movie = find(fd, "moov", 0);
  if (!movie) return 0;
  const auto header = find(fd, "mvhd", movie->content);
  if (!header) return 0;
  // The times of creation and change come first; they are longer in version 1.
  const auto version = numberAt(fd, header->content, 1);
  if (!version) return 0;
  return std::uint32_t(numberAt(fd, header->content + (*version == 1 ? 20 : 12), 4).value_or(0));
}

}  // namespace sonmere
