#pragma once

#include <cstdint>
#include <memory>

#include "audio/file/PCMBuffer.h"
#include "base/Error.h"

namespace sonmere {

// Brings blocks that come one by one to another rate; StreamResampler does it for a file that is pulled from.
// Threads: one at a time, never a render thread.
class PushedSampleConverter {
 public:
  // At most this many channels, the same on both sides. The error says that the library can't convert so.
  static Outcome<std::unique_ptr<PushedSampleConverter>> make(double fromRate, const PCMFormat& to);
  ~PushedSampleConverter();

  double fromRate() const { return fromRate_; }
  // What there is of the new rate so far: the filter holds some back.
  Outcome<PCMBuffer> push(const PCMBuffer& block);
  // What it has held back; the converter is at its end.
  Outcome<PCMBuffer> flush();

 private:
  struct Library;
  PushedSampleConverter(double fromRate, const PCMFormat& to, std::unique_ptr<Library> library);
  Outcome<PCMBuffer> run(const float* const* input, std::uint32_t frames, std::uint32_t capacity);

  const double fromRate_;
  const PCMFormat to_;
  const std::unique_ptr<Library> library_;
};

}  // namespace sonmere
