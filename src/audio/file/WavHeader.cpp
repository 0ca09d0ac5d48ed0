#include "audio/file/WavHeader.h"

#include <cmath>
#include <string_view>

#include "audio/file/LittleEndianBytes.h"
#include "base/DateText.h"

namespace sonmere {

namespace {

constexpr std::uint64_t kMax32 = 0xFFFFFFFF;
constexpr std::uint32_t kDs64Bytes = 28;
constexpr std::uint32_t kBextBytes = 602;
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

// A field of fixed length; what doesn't fit is cut off.
void putText(LittleEndianBytes& out, std::string_view text, std::size_t bytes) {
  const std::string_view kept = text.substr(0, bytes);
  out.text(kept);
  out.zeros(bytes - kept.size());
}

// Version 1, without the identifier of the material.
void putBext(LittleEndianBytes& out, const WavOrigin& origin) {
  out.tag("bext");
  out.u32(kBextBytes);
  putText(out, origin.name, 256);
  putText(out, "Sonmere", 32);
  putText(out, "", 32);
  putText(out, localDateText(origin.origin.date, "%Y-%m-%d"), 10);
  putText(out, localDateText(origin.origin.date, "%H:%M:%S"), 8);
  out.u64(origin.origin.samplesSinceMidnight);
  out.u16(1);
  out.zeros(kBextBytes - 256 - 32 - 32 - 10 - 8 - 8 - 2);
}

struct Sizes {
  std::uint64_t data = 0;  // bytes
  std::uint64_t riff = 0;
  bool isLarge = false;
};

Sizes sizesOf(const AudioFileSettings& settings, std::uint64_t frames, std::uint64_t bytesBehind) {
  const std::uint64_t data = frames * wavBytesPerFrame(settings);
  const std::uint64_t riff = wavHeaderBytes(settings) - 8 + data + data % 2 + bytesBehind;
  return {data, riff, riff > kMax32};
}

}  // namespace

std::uint32_t wavBytesPerFrame(const AudioFileSettings& settings) {
  return settings.channels * std::uint32_t(settings.bitDepth / 8);
}

std::uint32_t wavHeaderBytes(const AudioFileSettings& settings) {
  return settings.isBroadcast ? kBroadcastHeaderBytes : kWavHeaderBytes;
}

std::uint32_t wavMarksRoom(const AudioFileSettings& settings) {
  if (!settings.isBroadcast) return 0;
  const std::uint32_t factBytes = settings.isFloat ? 12 : 0;
  const std::uint32_t front = 12 + (8 + kDs64Bytes) + (8 + fmtBytes(settings)) + factBytes;
  return kBroadcastHeaderBytes - front - (8 + kBextBytes) - 8 - 8;
}

std::vector<std::uint8_t> wavHeaderFront(const AudioFileSettings& settings, std::uint64_t frames,
                                         std::uint64_t bytesBehind) {
  const Sizes sizes = sizesOf(settings, frames, bytesBehind);
  LittleEndianBytes out;
  out.tag(sizes.isLarge ? "RF64" : "RIFF");
  out.u32(sizes.isLarge ? kMax32 : sizes.riff);
  out.tag("WAVE");
  out.tag(sizes.isLarge ? "ds64" : "JUNK");
  out.u32(kDs64Bytes);
  sizes.isLarge ? putDs64(out, sizes.riff, sizes.data, frames) : putDs64(out, 0, 0, 0);
  putFmt(out, settings);
  if (settings.isFloat) {
    out.tag("fact");
    out.u32(4);
    out.u32(sizes.isLarge ? kMax32 : frames);
  }
  return out.take();
}

std::vector<std::uint8_t> wavDataHeader(const AudioFileSettings& settings, std::uint64_t frames,
                                        std::uint64_t bytesBehind) {
  const Sizes sizes = sizesOf(settings, frames, bytesBehind);
  LittleEndianBytes out;
  out.tag("data");
  out.u32(sizes.isLarge ? kMax32 : sizes.data);
  return out.take();
}

std::vector<std::uint8_t> wavHeader(const AudioFileSettings& settings, std::uint64_t frames,
                                    std::uint64_t bytesBehind, const WavOrigin& origin) {
  const auto front = wavHeaderFront(settings, frames, bytesBehind);
  const std::uint64_t broadcastBytes = settings.isBroadcast ? 8 + kBextBytes + origin.marks.size() : 0;
  const std::uint64_t restBytes = wavHeaderBytes(settings) - front.size() - broadcastBytes - 8 - 8;
  LittleEndianBytes out;
  out.bytes(front);
  if (settings.isBroadcast) {
    putBext(out, origin);
    out.bytes(origin.marks);
  }
  out.tag("JUNK");
  out.u32(restBytes);
  out.zeros(restBytes);
  out.bytes(wavDataHeader(settings, frames, bytesBehind));
  return out.take();
}

}  // namespace sonmere
