#include "editor/track/PlainWav.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace sonmere {

namespace {

constexpr std::uint16_t kTagPCM = 1, kTagFloat = 3, kTagExtensible = 0xFFFE;
constexpr int kMostChunks = 1000;
// The identifiers of formats beyond the tag's 16 bits end alike.
constexpr std::array<std::uint8_t, 14> kSubformatTail = {0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x80,
                                                         0x00, 0x00, 0xaa, 0x00, 0x38, 0x9b, 0x71};

template <class T>
T littleEndian(const std::uint8_t* bytes) {
  T value = 0;
  for (std::size_t i = 0; i < sizeof(T); ++i) value = T(value | T(bytes[i]) << (8 * i));
  return value;
}

class HeaderWalk {
 public:
  explicit HeaderWalk(int file) : file_(file) {}

  bool run(std::int64_t fileBytes) {
    std::array<std::uint8_t, 12> riff;
    if (!readAt(0, riff.data(), riff.size())) return false;
    isRF64_ = std::memcmp(riff.data(), "RF64", 4) == 0;
    if (!isRF64_ && std::memcmp(riff.data(), "RIFF", 4) != 0) return false;
    if (std::memcmp(riff.data() + 8, "WAVE", 4) != 0) return false;
    std::int64_t at = 12;
    for (int i = 0; i < kMostChunks && at + 8 <= fileBytes; ++i) {
      std::array<std::uint8_t, 8> head;
      if (!readAt(at, head.data(), head.size())) return false;
      const std::int64_t size = littleEndian<std::uint32_t>(head.data() + 4);
      if (std::memcmp(head.data(), "data", 4) == 0) return takeData(at + 8, size, fileBytes);
      if (std::memcmp(head.data(), "fmt ", 4) == 0 && !takeFormat(at + 8, size)) return false;
      if (std::memcmp(head.data(), "ds64", 4) == 0 && !takeSizes(at + 8, size)) return false;
      at += 8 + size + size % 2;
    }
    return false;
  }

  std::uint16_t tag = 0, channels = 0, bits = 0, frameBytes = 0;
  std::uint32_t rate = 0;
  std::int64_t dataOffset = 0, dataBytes = 0;

 private:
  bool readAt(std::int64_t offset, std::uint8_t* out, std::size_t count) const {
    return ::pread(file_, out, count, off_t(offset)) == ssize_t(count);
  }

  bool takeFormat(std::int64_t at, std::int64_t size) {
    std::array<std::uint8_t, 40> bytes{};
    if (size < 16 || !readAt(at, bytes.data(), std::size_t(std::min<std::int64_t>(size, 40)))) return false;
    tag = littleEndian<std::uint16_t>(&bytes[0]);
    channels = littleEndian<std::uint16_t>(&bytes[2]);
    rate = littleEndian<std::uint32_t>(&bytes[4]);
    frameBytes = littleEndian<std::uint16_t>(&bytes[12]);
    bits = littleEndian<std::uint16_t>(&bytes[14]);
    if (tag != kTagExtensible) return true;
    if (size < 40 || littleEndian<std::uint16_t>(&bytes[18]) != bits) return false;
    tag = littleEndian<std::uint16_t>(&bytes[24]);
    return std::memcmp(&bytes[26], kSubformatTail.data(), kSubformatTail.size()) == 0;
  }

  bool takeSizes(std::int64_t at, std::int64_t size) {
    std::array<std::uint8_t, 16> bytes;
    if (!isRF64_ || size < 16 || !readAt(at, bytes.data(), bytes.size())) return false;
    largeDataBytes_ = littleEndian<std::uint64_t>(&bytes[8]);
    return true;
  }

  bool takeData(std::int64_t at, std::int64_t size, std::int64_t fileBytes) {
    dataOffset = at;
    if (isRF64_ && size == 0xFFFFFFFF)
      size = std::int64_t(std::min<std::uint64_t>(largeDataBytes_, INT64_MAX));
    dataBytes = std::min(size, fileBytes - at);
    return true;
  }

  const int file_;
  bool isRF64_ = false;
  std::uint64_t largeDataBytes_ = 0;
};

std::optional<PlainWav::Encoding> encodingOf(const HeaderWalk& header) {
  if (header.frameBytes != header.channels * header.bits / 8) return std::nullopt;
  if (header.tag == kTagPCM && header.bits == 16) return PlainWav::Encoding::int16;
  if (header.tag == kTagPCM && header.bits == 24) return PlainWav::Encoding::int24;
  if (header.tag == kTagFloat && header.bits == 32) return PlainWav::Encoding::float32;
  return std::nullopt;
}

}  // namespace

std::optional<PlainWav> PlainWav::open(const std::string& path, const AudioFileReader& reader) {
  if (reader.container() != "wav") return std::nullopt;
  PlainWav wav;
  wav.file = FileDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!wav.file.valid() || ::fstat(wav.file.get(), &status) != 0 || !S_ISREG(status.st_mode))
    return std::nullopt;
  HeaderWalk header(wav.file.get());
  if (!header.run(status.st_size)) return std::nullopt;
  const auto encoding = encodingOf(header);
  if (!encoding || header.channels == 0) return std::nullopt;
  wav.encoding = *encoding;
  wav.format = {double(header.rate), header.channels};
  wav.layout = reader.layout();
  wav.missingFrames = reader.missingFrames();
  wav.dataOffset = header.dataOffset;
  wav.frames = header.dataBytes / header.frameBytes;
  if (wav.format != reader.format() || wav.frames != reader.frameCount()) return std::nullopt;
  return wav;
}

}  // namespace sonmere
