#include "audio/file/WavMarks.h"

#include <algorithm>
#include <limits>

#include "audio/file/LittleEndianBytes.h"

namespace sonmere {

namespace {

void putCue(LittleEndianBytes& out, const std::vector<AudioFileMark>& marks) {
  out.tag("cue ");
  out.u32(4 + 24 * marks.size());
  out.u32(marks.size());
  std::uint32_t id = 0;
  for (const AudioFileMark& mark : marks) {
    out.u32(++id);
    out.u32(std::uint64_t(mark.frame));  // in the order of playing
    out.tag("data");
    out.u32(0);
    out.u32(0);
    out.u32(std::uint64_t(mark.frame));
  }
}

std::vector<std::uint8_t> labels(const std::vector<AudioFileMark>& marks) {
  LittleEndianBytes out;
  out.tag("adtl");
  std::uint32_t id = 0;
  for (const AudioFileMark& mark : marks) {
    ++id;
    if (mark.text.empty()) continue;
    out.tag("labl");
    out.u32(4 + mark.text.size() + 1);
    out.u32(id);
    out.text(mark.text);
    out.zeros(1 + (mark.text.size() + 1) % 2);
  }
  return out.take();
}

}  // namespace

std::vector<std::uint8_t> wavMarkChunks(std::vector<AudioFileMark> marks, std::uint64_t frames) {
  const auto last = std::int64_t(std::min<std::uint64_t>(frames, std::numeric_limits<std::uint32_t>::max()));
  std::erase_if(marks, [last](const AudioFileMark& mark) { return mark.frame < 0 || mark.frame >= last; });
  if (marks.empty()) return {};
  std::ranges::stable_sort(marks, {}, &AudioFileMark::frame);
  LittleEndianBytes out;
  putCue(out, marks);
  const auto list = labels(marks);
  out.tag("LIST");
  out.u32(list.size());
  out.bytes(list);
  return out.take();
}

}  // namespace sonmere
