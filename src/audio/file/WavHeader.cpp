#include "audio/file/WavHeader.h"

#include <cmath>

#include "audio/file/LittleEndianBytes.h"

namespace sonmere {

namespace {

constexpr std::uint64_t kMax32 = 0xFFFFFFFF;
constexpr std::uint32_t kDs64Bytes = 28;
constexpr std::uint16_t kTagPCM = 1;
constexpr std::uint16_t kTagFloat = 3;

void putDs64(LittleEndianBytes& out, std::uint64_t riffBytes, std::uint64_t dataBytes, std::uint64_t frames) {
  out.u64(riffBytes);
  out.u64(dataBytes);
  out.u64(frames);
  out.u32(0);  // no table of further chunks
}

// Formats other than PCM count the bytes of their extension, of which float has none.
std::uint32_t fmtBytes(const AudioFileSettings& settings) { return settings.isFloat ? 18 : 16; }

void putFmt(LittleEndianBytes& out, const AudioFileSettings& settings) {
  const auto rate = std::uint64_t(std::llround(settings.sampleRate));
  out.tag("fmt ");
  out.u32(fmtBytes(settings));
  out.u16(settings.isFloat ? kTagFloat : kTagPCM);
  out.u16(settings.channels);
  out.u32(rate);
  out.u32(rate * wavBytesPerFrame(settings));
  out.u16(wavBytesPerFrame(settings));
  out.u16(std::uint64_t(settings.bitDepth));
  if (settings.isFloat) out.u16(0);
}

}  // namespace

std::uint32_t wavBytesPerFrame(const AudioFileSettings& settings) {
  return settings.channels * std::uint32_t(settings.bitDepth / 8);
}

std::vector<std::uint8_t> wavHeader(const AudioFileSettings& settings, std::uint64_t frames,
                                    std::uint64_t bytesBehind) {
  const std::uint64_t dataBytes = frames * wavBytesPerFrame(settings);
  const std::uint64_t factBytes = settings.isFloat ? 12 : 0;
  const std::uint64_t usedBytes = 12 + (8 + kDs64Bytes) + (8 + fmtBytes(settings)) + factBytes + 8;
  const std::uint64_t riffBytes = kWavHeaderBytes - 8 + dataBytes + dataBytes % 2 + bytesBehind;
  const bool large = riffBytes > kMax32;

  LittleEndianBytes out;
  out.tag(large ? "RF64" : "RIFF");
  out.u32(large ? kMax32 : riffBytes);
  out.tag("WAVE");
  out.tag(large ? "ds64" : "JUNK");
  out.u32(kDs64Bytes);
  large ? putDs64(out, riffBytes, dataBytes, frames) : putDs64(out, 0, 0, 0);
  putFmt(out, settings);
  if (settings.isFloat) {
    out.tag("fact");
    out.u32(4);
    out.u32(large ? kMax32 : frames);
  }
  out.tag("JUNK");
  out.u32(kWavHeaderBytes - usedBytes - 8);
  out.zeros(kWavHeaderBytes - usedBytes - 8);
  out.tag("data");
  out.u32(large ? kMax32 : dataBytes);
  return out.take();
}

}  // namespace sonmere
