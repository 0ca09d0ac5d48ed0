#include "recording/library/WavChunks.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace sonmere {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kFormatBytes = 16;
constexpr std::size_t kLargeSizesBytes = 24;  // the table behind them is of no interest
// Our own headers and most others end within these; over thousands of files each further line of memory
// counts.
constexpr std::size_t kFirstWindowBytes = 128;
constexpr std::size_t kWindowBytes = 4096;
constexpr int kMostWindows = 64;
constexpr std::uint32_t kSizeElsewhere = 0xFFFFFFFF;

std::uint64_t little(const std::uint8_t* at, int bytes) {
  std::uint64_t value = 0;
  for (int i = bytes - 1; i >= 0; --i) value = value << 8 | at[i];
  return value;
}

bool is(const std::uint8_t* at, const char* tag) { return std::memcmp(at, tag, 4) == 0; }

std::size_t wantedBytes(const std::uint8_t* header) {
  if (is(header, "fmt ")) return kFormatBytes;
  return is(header, "ds64") ? kLargeSizesBytes : 0;
}

void readContent(WavChunks& chunks, const std::uint8_t* header) {
  const std::uint8_t* content = header + 8;
  if (is(header, "fmt ") && !chunks.format) {
    chunks.format = {std::uint16_t(little(content, 2)), std::uint16_t(little(content + 2, 2)),
                     std::uint32_t(little(content + 4, 4)), std::uint32_t(little(content + 8, 4)),
                     std::uint16_t(little(content + 12, 2))};
  } else if (is(header, "ds64") && !chunks.largeSizes) {
    chunks.largeSizes = {chunks.next + 8, little(content, 8), little(content + 8, 8),
                         little(content + 16, 8)};
  }
}

bool isPCM(const WavChunks::Format& format) {
  return format.tag == 1 || format.tag == 3 || format.tag == 0xFFFE;
}

std::uint64_t declaredAudioBytes(const WavChunks& chunks) {
  const bool isElsewhere = chunks.isRF64 && chunks.largeSizes && chunks.data->size == kSizeElsewhere;
  return isElsewhere ? chunks.largeSizes->data : chunks.data->size;
}

}  // namespace

std::optional<WavChunks> beginWavChunks(Bytes head) {
  if (head.size() < 12 || !is(head.data() + 8, "WAVE")) return std::nullopt;
  WavChunks chunks;
  chunks.isRF64 = is(head.data(), "RF64");
  if (!chunks.isRF64 && !is(head.data(), "RIFF")) return std::nullopt;
  chunks.riffSize = std::uint32_t(little(head.data() + 4, 4));
  return chunks;
}

void walkWavChunks(WavChunks& chunks, std::uint64_t at, Bytes window) {
  const std::uint64_t end = at + window.size();
  while (!chunks.data && chunks.next + 8 <= end) {
    const std::uint8_t* header = window.data() + (chunks.next - at);
    const auto size = std::uint32_t(little(header + 4, 4));
    if (is(header, "data")) {
      chunks.data = {chunks.next, size};
      return;
    }
    if (is(header, "cue ")) chunks.cueAt = chunks.next;
    if (is(header, "LIST")) chunks.labelsAt = chunks.next;
    const std::size_t wanted = wantedBytes(header);
    const bool hasWanted = chunks.next + 8 + wanted <= end;
    if (!hasWanted && size >= wanted && chunks.next > at) return;
    if (wanted > 0 && hasWanted && size >= wanted) readContent(chunks, header);
    chunks.next += 8 + std::uint64_t(size) + size % 2;
  }
}

std::optional<WavChunks> readWavChunks(const ReadBytesAt& read) {
  std::array<std::uint8_t, kWindowBytes> window;
  const std::span<std::uint8_t> first(window.data(), kFirstWindowBytes);
  std::size_t count = read(0, first);
  auto chunks = beginWavChunks(Bytes(window.data(), count));
  if (!chunks) return std::nullopt;
  walkWavChunks(*chunks, 0, Bytes(window.data(), count));
  for (int i = 0; i < kMostWindows && !chunks->data; ++i) {
    const std::uint64_t at = chunks->next;
    count = read(at, window);
    if (count < 8) break;
    walkWavChunks(*chunks, at, Bytes(window.data(), count));
  }
  return chunks;
}

double wavSeconds(const WavChunks& chunks, std::uint64_t fileSize) {
  if (!chunks.data || !chunks.format || fileSize < chunks.data->at + 8) return 0;
  const std::uint64_t bytes = std::min(declaredAudioBytes(chunks), fileSize - (chunks.data->at + 8));
  const WavChunks::Format& format = *chunks.format;
  if (isPCM(format) && format.bytesPerFrame > 0 && format.sampleRate > 0)
    return double(bytes / format.bytesPerFrame) / format.sampleRate;
  return format.bytesPerSecond > 0 ? double(bytes) / format.bytesPerSecond : 0;
}

}  // namespace sonmere
