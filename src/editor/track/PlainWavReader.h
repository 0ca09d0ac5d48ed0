#pragma once

#include "base/AlignedVector.h"
#include "editor/track/BlockReader.h"
#include "editor/track/PlainWav.h"

namespace sonmere {

// Reads a plain WAV in large pieces and converts these to the floats that the file readers give, bit for bit.
class PlainWavReader final : public BlockReader {
 public:
  PlainWavReader(PlainWav wav, std::string path);

  const PCMFormat& format() const override { return wav_.format; }
  std::int64_t frameCount() const override { return wav_.frames; }
  Outcome<void> seek(std::int64_t frame) override;
  Outcome<void> read(PCMBuffer& buffer, std::uint32_t frames) override;
  Outcome<bool> addNextTo(PCMBuffer& mix, float gain) override;

 private:
  // Hands the bytes of the next frames over, as `use(bytes, from, count)`; returns how many there were.
  template <class Use>
  Outcome<std::uint32_t> take(std::uint32_t frames, Use&& use);
  // Reads the next piece of the file.
  Outcome<void> refill();

  const PlainWav wav_;
  const std::string path_;
  std::int64_t position_ = 0;  // frame that the next piece begins with
  AlignedVector<std::uint8_t> piece_;
  std::size_t taken_ = 0, filled_ = 0;  // bytes of the piece
};

}  // namespace sonmere
