#include "recording/library/WavMarkChunks.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <string>

namespace sonmere {

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kMostBytes = 1 << 20;
constexpr int kMostChunksBehind = 64;
constexpr std::size_t kCueBytes = 24;

std::uint32_t little(const std::uint8_t* at) {
  return std::uint32_t(at[0]) | std::uint32_t(at[1]) << 8 | std::uint32_t(at[2]) << 16 |
         std::uint32_t(at[3]) << 24;
}

bool is(const std::uint8_t* at, const char* tag) { return std::memcmp(at, tag, 4) == 0; }

// What stands in the chunk that begins there; nothing of one that is not of this kind.
Bytes contentAt(const ReadBytesAt& read, std::uint64_t at, const char* tag) {
  std::uint8_t header[8];
  if (at == 0 || read(at, header) != sizeof header || !is(header, tag)) return {};
  Bytes content(std::min<std::size_t>(little(header + 4), kMostBytes));
  content.resize(read(at + sizeof header, content));
  return content;
}

struct Places {
  std::uint64_t cue = 0, labels = 0;
};

// Where they stand behind the audio, if the file says that anything does.
Places placesBehind(const ReadBytesAt& read, const WavChunks& chunks, std::uint64_t fileSize) {
  const std::uint64_t audio =
      chunks.isRF64 && chunks.largeSizes ? chunks.largeSizes->data : chunks.data->size;
  const std::uint64_t riff = chunks.isRF64 && chunks.largeSizes ? chunks.largeSizes->riff : chunks.riffSize;
  Places places;
  if (audio > fileSize || riff > fileSize) return places;
  std::uint64_t at = chunks.data->at + 8 + audio + audio % 2;
  for (int i = 0; i < kMostChunksBehind && at + 8 <= riff + 8; ++i) {
    std::uint8_t header[8];
    if (read(at, header) != sizeof header) break;
    if (is(header, "cue ")) places.cue = at;
    if (is(header, "LIST")) places.labels = at;
    const std::uint64_t size = little(header + 4);
    at += 8 + size + size % 2;
  }
  return places;
}

// The texts by the numbers of their marks.
std::map<std::uint32_t, std::string> textsOf(const Bytes& list) {
  std::map<std::uint32_t, std::string> texts;
  if (list.size() < 4 || !is(list.data(), "adtl")) return texts;
  for (std::size_t at = 4; at + 12 <= list.size();) {
    const std::size_t size = little(&list[at + 4]);
    if (size > list.size() - at - 8) break;
    if (is(&list[at], "labl") && size > 4) {
      const auto* text = reinterpret_cast<const char*>(&list[at + 12]);
      texts.emplace(little(&list[at + 8]), std::string(text, strnlen(text, size - 4)));
    }
    at += 8 + size + size % 2;
  }
  return texts;
}

}  // namespace

std::vector<AudioFileMark> readWavMarks(const ReadBytesAt& read, const WavChunks& chunks,
                                        std::uint64_t fileSize) {
  if (!chunks.data) return {};
  Places places{chunks.cueAt, chunks.labelsAt};
  if (places.cue == 0) places = placesBehind(read, chunks, fileSize);
  const Bytes cues = contentAt(read, places.cue, "cue ");
  if (cues.size() < 4) return {};
  const auto texts = textsOf(contentAt(read, places.labels, "LIST"));
  std::vector<AudioFileMark> marks;
  const std::size_t count = std::min<std::size_t>(little(cues.data()), (cues.size() - 4) / kCueBytes);
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint8_t* cue = &cues[4 + i * kCueBytes];
    const auto text = texts.find(little(cue));
    marks.push_back({std::int64_t(little(cue + 20)), text == texts.end() ? "" : text->second});
  }
  std::ranges::stable_sort(marks, {}, &AudioFileMark::frame);
  return marks;
}

}  // namespace sonmere
