#pragma once

#include "editor/track/BlockReader.h"
#include "editor/track/PlainWavPiece.h"

namespace sonmere {

// Reads a plain WAV in large pieces and converts these to the floats that the file readers give, bit for bit.
class PlainWavReader final : public BlockReader {
 public:
  PlainWavReader(PlainWav wav, std::string path);

  const PCMFormat& format() const override { return piece_.wav().format; }
  const ChannelLayout& layout() const override { return piece_.wav().layout; }
  std::int64_t frameCount() const override { return piece_.wav().frames; }
  std::int64_t missingFrames() const override { return piece_.wav().missingFrames; }
  Outcome<void> seek(std::int64_t frame) override;
  Outcome<void> read(PCMBuffer& buffer, std::uint32_t frames) override;
  Outcome<bool> addNextTo(PCMBuffer& mix, float gain) override;

 private:
  // Hands the bytes of the next frames over, as `use(bytes, from, count)`; returns how many there were.
  template <class Use>
  Outcome<std::uint32_t> take(std::uint32_t frames, Use&& use);
  // Reads the next piece of the file.
  Outcome<void> refill();

  PlainWavPiece piece_;
  std::int64_t position_ = 0;            // frame that the next piece begins with
  std::span<const std::uint8_t> bytes_;  // the piece
  std::size_t taken_ = 0;                // of these
};

}  // namespace sonmere
