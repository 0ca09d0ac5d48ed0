#include "editor/track/PlainWavPiece.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace sonmere {

Outcome<std::span<const std::uint8_t>> PlainWavPiece::read(std::int64_t first, std::int64_t frames) {
  const std::size_t frameBytes = wav_.bytesPerFrame();
  const auto wanted = std::size_t(std::min(frames, wav_.frames - first)) * frameBytes;
  const std::int64_t offset = wav_.dataOffset + first * std::int64_t(frameBytes);
  constexpr auto kLine = std::size_t(decltype(bytes_)::allocator_type::kAlignment);
  if (bytes_.size() < kLine + wanted + kSlackBytes) bytes_.resize(kLine + wanted + kSlackBytes);
  std::uint8_t* const piece = bytes_.data() + std::size_t(offset) % kLine;
  std::size_t filled = 0;
  while (filled < wanted) {
    const ssize_t count =
        ::pread(wav_.file.get(), piece + filled, wanted - filled, off_t(offset + std::int64_t(filled)));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::unexpected(posixError(errno, "could not read " + path_));
    if (count == 0) break;
    filled += std::size_t(count);
  }
  return std::span<const std::uint8_t>(piece, filled - filled % frameBytes);
}

}  // namespace sonmere
