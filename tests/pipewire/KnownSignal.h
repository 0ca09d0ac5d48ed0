#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace sonmere {

// Stereo noise of 16-bit values, no two places of which are alike: as float32 every program passes it on
// unchanged.
struct KnownSignal {
  explicit KnownSignal(double seconds, std::uint32_t seed = 1);
  std::vector<float> samples;  // interleaved, 48 kHz

  // As a file of 32-bit floats.
  // At that rate; as it is at 48 kHz.
  void write(const std::string& path, int sampleRate = 48000) const;
};

// The samples of a sound file; empty when there is none.
std::vector<float> readSamples(const std::string& path);

// How a capture holds a signal that began somewhere in it.
struct Match {
  std::size_t at = 0;       // of the capture's first sample of the signal that was found
  std::size_t from = 0;     // of the signal's sample there
  std::size_t length = 0;   // equal samples from there on
  std::size_t gaps = 0;     // further pieces that follow after samples which are not the signal's
  std::size_t missing = 0;  // samples of the signal between the pieces
};
Match findSignal(const std::vector<float>& capture, const std::vector<float>& signal);

}  // namespace sonmere
