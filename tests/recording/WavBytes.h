#pragma once

#include <cstdint>
#include <string>

namespace sonmere {

// WAV files made by hand, byte by byte.

inline std::string little(std::uint64_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += char(value >> (8 * i));
  return text;
}

inline std::string chunk(const std::string& id, const std::string& content) {
  return id + little(content.size(), 4) + content + std::string(content.size() % 2, '\0');
}

// 16 bits, stereo, 48 kHz: 192000 bytes a second.
inline std::string wavFormat() {
  return chunk("fmt ", little(1, 2) + little(2, 2) + little(48000, 4) + little(192000, 4) + little(4, 2) +
                           little(16, 2));
}

// A plain WAV file with these chunks in front of the audio and this size declared for it.
inline std::string wavFile(const std::string& chunks, std::uint64_t declared, const std::string& audio) {
  return "RIFF" + little(0, 4) + "WAVE" + chunks + "data" + little(declared, 4) + audio;
}

// What a writer leaves that died before it wrote any size; `bytes` is the size of the whole file.
inline std::string interruptedWav(std::size_t bytes) {
  std::string file = wavFile(wavFormat(), 0, "");
  for (std::size_t i = 0; file.size() < bytes; ++i) file += char(1 + i % 100);
  return file;
}

inline std::string rf64File(std::uint64_t dataBytes, std::uint32_t declared, const std::string& audio) {
  const std::string sizes = little(0, 8) + little(dataBytes, 8) + little(0, 8) + little(0, 4);
  return "RF64" + little(0, 4) + "WAVE" + chunk("ds64", sizes) + wavFormat() + "data" + little(declared, 4) +
         audio;
}

}  // namespace sonmere
