#include "KnownSignal.h"

#include <sndfile.h>

#include <algorithm>
#include <unordered_map>

namespace sonmere {

namespace {

constexpr std::size_t kAnchor = 64;  // equal samples that make a find

// Where in the signal a run of samples stands, by the bits of three of them.
class SignalIndex {
 public:
  explicit SignalIndex(const std::vector<float>& signal) : signal_(signal) {
    for (std::size_t i = 0; i + kAnchor <= signal.size(); i += 2) places_.emplace(key(&signal[i]), i);
  }
  // The place in the signal, or its size.
  std::size_t find(const float* samples) const {
    const auto [first, last] = places_.equal_range(key(samples));
    for (auto it = first; it != last; ++it)
      if (std::equal(samples, samples + kAnchor, &signal_[it->second])) return it->second;
    return signal_.size();
  }

 private:
  static std::uint64_t key(const float* at) {
    const auto value = [](float x) { return std::uint64_t(std::int64_t(x * 32768.0f) + 32768); };
    return value(at[0]) | value(at[1]) << 17 | value(at[2]) << 34;
  }
  const std::vector<float>& signal_;
  std::unordered_multimap<std::uint64_t, std::size_t> places_;
};

}  // namespace

KnownSignal::KnownSignal(double seconds, std::uint32_t seed) {
  samples.resize(std::size_t(seconds * 48000) * 2);
  std::uint64_t state = seed * 2654435761u + 1;
  for (float& sample : samples) {
    state = state * 6364136223846793005u + 1442695040888963407u;
    // Half of full scale, and never zero: silence is not part of it.
    sample = float(std::int32_t((state >> 40) % 16000) + 200) / 32768.0f * ((state >> 33) & 1 ? 1.0f : -1.0f);
  }
}

void KnownSignal::write(const std::string& path, int sampleRate) const {
  SF_INFO info{};
  info.samplerate = sampleRate;
  info.channels = 2;
  info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
  SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
  sf_write_float(file, samples.data(), sf_count_t(samples.size()));
  sf_close(file);
}

std::vector<float> readSamples(const std::string& path) {
  SF_INFO info{};
  SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
  if (!file) return {};
  std::vector<float> samples(std::size_t(info.frames * info.channels));
  samples.resize(std::size_t(sf_read_float(file, samples.data(), sf_count_t(samples.size()))));
  sf_close(file);
  return samples;
}

Match findSignal(const std::vector<float>& capture, const std::vector<float>& signal) {
  const SignalIndex index(signal);
  Match match;
  std::size_t expected = 0;
  bool isFound = false;
  for (std::size_t i = 0; i + kAnchor <= capture.size();) {
    const std::size_t place = index.find(&capture[i]);
    if (place == signal.size()) {
      i += 2;
      continue;
    }
    std::size_t length = 0;
    while (i + length < capture.size() && place + length < signal.size() &&
           capture[i + length] == signal[place + length])
      ++length;
    if (!isFound) {
      match.at = i;
      match.from = place;
      isFound = true;
    } else {
      ++match.gaps;
      if (place > expected) match.missing += place - expected;
    }
    match.length += length;
    expected = place + length;
    i += length;
  }
  return match;
}

}  // namespace sonmere
