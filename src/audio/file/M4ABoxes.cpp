#include "audio/file/M4ABoxes.h"

#include <algorithm>

#include "audio/file/AACEncoder.h"

namespace sonmere {

namespace {

constexpr std::uint32_t kTrack = 1;
constexpr std::uint32_t kUnity = 0x00010000;  // 1 in 16.16

// Big-endian bytes in nested boxes, whose sizes are filled in at their ends.
class Boxes {
 public:
  // Open until the end of the scope.
  class Box {
   public:
    Box(Boxes& boxes, const char* type) : boxes_(boxes), start_(boxes.size()) {
      boxes.u32(0);
      boxes.tag(type);
    }
    Box(Boxes& boxes, const char* type, std::uint32_t versionAndFlags) : Box(boxes, type) {
      boxes.u32(versionAndFlags);
    }
    ~Box() { boxes_.put32At(start_, std::uint32_t(boxes_.bytes_.size() - start_)); }
    Box(const Box&) = delete;
    Box& operator=(const Box&) = delete;

   private:
    Boxes& boxes_;
    const std::size_t start_;
  };

  [[nodiscard]] Box box(const char* type) { return Box(*this, type); }
  [[nodiscard]] Box fullBox(const char* type, std::uint32_t version = 0, std::uint32_t flags = 0) {
    return Box(*this, type, version << 24 | flags);
  }

  void tag(const char* fourCharacters) { bytes_.insert(bytes_.end(), fourCharacters, fourCharacters + 4); }
  void u8(std::uint64_t value) { put(value, 1); }
  void u16(std::uint64_t value) { put(value, 2); }
  void u24(std::uint64_t value) { put(value, 3); }
  void u32(std::uint64_t value) { put(value, 4); }
  void u64(std::uint64_t value) { put(value, 8); }
  void zeros(std::size_t count) { bytes_.insert(bytes_.end(), count, 0); }
  void append(std::span<const std::uint8_t> bytes) {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
  }

  std::size_t size() const { return bytes_.size(); }
  void put32At(std::size_t at, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i) bytes_[at + i] = std::uint8_t(value >> (24 - 8 * i));
  }
  std::vector<std::uint8_t> take() { return std::move(bytes_); }

 private:
  void put(std::uint64_t value, int count) {
    for (int i = count - 1; i >= 0; --i) bytes_.push_back(std::uint8_t(value >> (8 * i)));
  }

  std::vector<std::uint8_t> bytes_;
};

// What a moov tells of the samples; all empty while the file grows.
struct SampleTables {
  std::uint64_t frames = 0;  // to be played
  std::span<const std::uint32_t> packetBytes;
  std::span<const M4AChunk> chunks;
};

void putMatrix(Boxes& out) {
  for (const std::uint32_t value : {kUnity, 0u, 0u, 0u, kUnity, 0u, 0u, 0u, 0x40000000u}) out.u32(value);
}

// The times of creation and change are left open: the file system knows them.
void putMovieHeader(Boxes& out, const M4AStream& stream, std::uint64_t frames) {
  const auto box = out.fullBox("mvhd", 1);
  out.zeros(16);
  out.u32(stream.sampleRate);
  out.u64(frames);
  out.u32(kUnity);  // speed
  out.u16(0x0100);  // volume
  out.zeros(10);
  putMatrix(out);
  out.zeros(24);
  out.u32(kTrack + 1);
}

void putTrackHeader(Boxes& out, std::uint64_t frames) {
  const auto box = out.fullBox("tkhd", 1, 3);  // enabled, in the presentation
  out.zeros(16);
  out.u32(kTrack);
  out.zeros(4);
  out.u64(frames);
  out.zeros(12);
  out.u16(0x0100);  // volume
  out.zeros(2);
  putMatrix(out);
  out.zeros(8);
}

// Leaves the encoder's delay out, and what the last packet has too much. A duration of 0, in a file that
// still grows, means all there will be.
void putEditList(Boxes& out, const M4AStream& stream, std::uint64_t frames) {
  const auto edts = out.box("edts");
  const auto elst = out.fullBox("elst", 1);
  out.u32(1);
  out.u64(frames);
  out.u64(stream.encoderDelay);
  out.u32(kUnity);
}

void putMediaHeader(Boxes& out, const M4AStream& stream, std::uint64_t mediaFrames) {
  {
    const auto box = out.fullBox("mdhd", 1);
    out.zeros(16);
    out.u32(stream.sampleRate);
    out.u64(mediaFrames);
    out.u16(0x55C4);  // "und"
    out.zeros(2);
  }
  const auto box = out.fullBox("hdlr");
  out.zeros(4);
  out.tag("soun");
  out.zeros(12 + 1);
}

void putDescriptor(Boxes& out, std::uint8_t tag, std::size_t bytes) {
  out.u8(tag);
  out.u8(bytes);
}

void putDecoderConfiguration(Boxes& out, const M4AStream& stream) {
  const std::size_t specific = stream.configuration.size();
  const auto box = out.fullBox("esds");
  putDescriptor(out, 3, 3 + 2 + 13 + 2 + specific + 2 + 1);
  out.u16(0);
  out.u8(0);
  putDescriptor(out, 4, 13 + 2 + specific);
  out.u8(0x40);  // MPEG-4 audio
  out.u8(0x15);  // audio stream
  out.u24(768 * stream.channels);
  out.u32(stream.bitRate);
  out.u32(stream.bitRate);
  putDescriptor(out, 5, specific);
  out.append(stream.configuration);
  putDescriptor(out, 6, 1);
  out.u8(2);
}

void putSampleDescription(Boxes& out, const M4AStream& stream) {
  const auto stsd = out.fullBox("stsd");
  out.u32(1);
  const auto mp4a = out.box("mp4a");
  out.zeros(6);
  out.u16(1);  // data reference
  out.zeros(8);
  out.u16(stream.channels);
  out.u16(16);
  out.zeros(4);
  // 16.16: higher rates stand in the configuration alone.
  out.u32(stream.sampleRate <= 0xFFFF ? stream.sampleRate << 16 : 0);
  putDecoderConfiguration(out, stream);
}

// Packets last 1024 frames, but the last one, which ends where the audio does.
void putDurations(Boxes& out, std::size_t packets, std::uint64_t mediaFrames) {
  const auto box = out.fullBox("stts");
  if (packets == 0) return out.u32(0);
  const std::uint64_t before = (packets - 1) * kAACPacketFrames;
  const std::uint64_t last = mediaFrames - before;
  out.u32(packets > 1 ? 2 : 1);
  if (packets > 1) {
    out.u32(packets - 1);
    out.u32(kAACPacketFrames);
  }
  out.u32(1);
  out.u32(last);
}

void putChunkLengths(Boxes& out, std::span<const M4AChunk> chunks) {
  const auto box = out.fullBox("stsc");
  const std::size_t countAt = out.size();
  out.u32(0);
  std::uint32_t entries = 0;
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    if (i > 0 && chunks[i].packets == chunks[i - 1].packets) continue;
    out.u32(i + 1);
    out.u32(chunks[i].packets);
    out.u32(1);
    ++entries;
  }
  out.put32At(countAt, entries);
}

void putPacketBytes(Boxes& out, std::span<const std::uint32_t> packetBytes) {
  const auto box = out.fullBox("stsz");
  out.u32(0);
  out.u32(packetBytes.size());
  for (const std::uint32_t bytes : packetBytes) out.u32(bytes);
}

void putChunkOffsets(Boxes& out, std::span<const M4AChunk> chunks) {
  const bool large = !chunks.empty() && chunks.back().offset > 0xFFFFFFFF;
  const auto box = out.fullBox(large ? "co64" : "stco");
  out.u32(chunks.size());
  for (const M4AChunk& chunk : chunks) large ? out.u64(chunk.offset) : out.u32(chunk.offset);
}

// A packet alone sounds only together with the one before it.
void putRollGroup(Boxes& out, std::size_t packets) {
  if (packets == 0) return;
  {
    const auto box = out.fullBox("sgpd", 1);
    out.tag("roll");
    out.u32(2);
    out.u32(1);
    out.u16(0xFFFF);  // one back
  }
  const auto box = out.fullBox("sbgp");
  out.tag("roll");
  out.u32(1);
  out.u32(packets);
  out.u32(1);
}

void putSampleTable(Boxes& out, const M4AStream& stream, const SampleTables& tables,
                    std::uint64_t mediaFrames) {
  const auto box = out.box("stbl");
  putSampleDescription(out, stream);
  putDurations(out, tables.packetBytes.size(), mediaFrames);
  putChunkLengths(out, tables.chunks);
  putPacketBytes(out, tables.packetBytes);
  putChunkOffsets(out, tables.chunks);
  putRollGroup(out, tables.packetBytes.size());
}

void putMediaInformation(Boxes& out, const M4AStream& stream, const SampleTables& tables,
                         std::uint64_t mediaFrames) {
  const auto minf = out.box("minf");
  {
    const auto box = out.fullBox("smhd");
    out.zeros(4);
  }
  {
    const auto dinf = out.box("dinf");
    const auto dref = out.fullBox("dref");
    out.u32(1);
    const auto url = out.fullBox("url ", 0, 1);  // in this file
  }
  putSampleTable(out, stream, tables, mediaFrames);
}

void putTrack(Boxes& out, const M4AStream& stream, const SampleTables& tables) {
  const std::size_t packets = tables.packetBytes.size();
  const std::uint64_t mediaFrames =
      std::min<std::uint64_t>(packets * kAACPacketFrames, stream.encoderDelay + tables.frames);
  const auto trak = out.box("trak");
  putTrackHeader(out, tables.frames);
  putEditList(out, stream, tables.frames);
  const auto mdia = out.box("mdia");
  putMediaHeader(out, stream, mediaFrames);
  putMediaInformation(out, stream, tables, mediaFrames);
}

void putFragmentDefaults(Boxes& out) {
  const auto mvex = out.box("mvex");
  const auto trex = out.fullBox("trex");
  out.u32(kTrack);
  out.u32(1);  // sample description
  out.u32(kAACPacketFrames);
  out.zeros(8);
}

}  // namespace

std::vector<std::uint8_t> m4aHeader(const M4AStream& stream, std::uint64_t& freeOffset) {
  Boxes out;
  {
    const auto box = out.box("ftyp");
    out.tag("M4A ");
    out.u32(0x200);
    for (const char* brand : {"M4A ", "mp42", "isom", "iso5"}) out.tag(brand);
  }
  freeOffset = out.size();
  {
    const auto box = out.box("free");
    out.zeros(kM4AFreeBytes - 8);
  }
  {
    const auto box = out.box("moov");
    putMovieHeader(out, stream, 0);
    putTrack(out, stream, {});
    putFragmentDefaults(out);
  }
  return out.take();
}

std::vector<std::uint8_t> m4aFragmentHeader(std::uint32_t sequence, std::uint64_t firstFrame,
                                            std::span<const std::uint32_t> packetBytes) {
  Boxes out;
  std::size_t dataOffsetAt = 0;
  {
    const auto moof = out.box("moof");
    {
      const auto box = out.fullBox("mfhd");
      out.u32(sequence);
    }
    const auto traf = out.box("traf");
    {
      const auto box = out.fullBox("tfhd", 0, 0x020000);  // offsets count from this moof
      out.u32(kTrack);
    }
    {
      const auto box = out.fullBox("tfdt", 1);
      out.u64(firstFrame);
    }
    const auto trun = out.fullBox("trun", 0, 0x000201);  // data offset, sizes
    out.u32(packetBytes.size());
    dataOffsetAt = out.size();
    out.u32(0);
    for (const std::uint32_t bytes : packetBytes) out.u32(bytes);
  }
  out.put32At(dataOffsetAt, std::uint32_t(out.size() + 8));
  std::uint32_t dataBytes = 0;
  for (const std::uint32_t bytes : packetBytes) dataBytes += bytes;
  out.u32(8 + dataBytes);
  out.tag("mdat");
  return out.take();
}

namespace {

void putTag(Boxes& out, const char* type, const std::string& text) {
  constexpr std::uint32_t kUTF8 = 1;
  if (text.empty()) return;
  const auto item = out.box(type);
  const auto data = out.fullBox("data", 0, kUTF8);
  out.zeros(4);  // of any language
  out.append({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

// As the iTunes player began it, and all others read it.
void putTags(Boxes& out, const AudioFileTags& tags) {
  if (tags.title.empty() && tags.date.empty()) return;
  const auto udta = out.box("udta");
  const auto meta = out.fullBox("meta");
  {
    const auto box = out.fullBox("hdlr");
    out.zeros(4);
    out.tag("mdir");
    out.tag("appl");
    out.zeros(8 + 1);
  }
  const auto ilst = out.box("ilst");
  putTag(out, "\xA9nam", tags.title);
  putTag(out,
         "\xA9"
         "day",
         tags.date);
}

}  // namespace

std::vector<std::uint8_t> m4aIndex(const M4AStream& stream, std::uint64_t frames,
                                   std::span<const std::uint32_t> packetBytes,
                                   std::span<const M4AChunk> chunks) {
  Boxes out;
  {
    const auto moov = out.box("moov");
    putMovieHeader(out, stream, frames);
    putTrack(out, stream, {frames, packetBytes, chunks});
    putTags(out, stream.tags);
  }
  return out.take();
}

std::vector<std::uint8_t> m4aDataHeader(std::uint64_t bytes) {
  Boxes out;
  out.u32(1);  // the size follows in 64 bits
  out.tag("mdat");
  out.u64(bytes);
  return out.take();
}

}  // namespace sonmere
