#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/Error.h"
#include "platform/simulated/SampleSource.h"

namespace sonmere::SampleSources {

std::unique_ptr<SampleSource> silence();
// The same sine on both sides.
std::unique_ptr<SampleSource> tone(double hertz, float amplitude);
// White noise, different on each side, the same for the same seed.
std::unique_ptr<SampleSource> noise(std::uint64_t seed, float amplitude);
// Interleaved stereo, one frame of it per frame of the device whatever the rate.
std::unique_ptr<SampleSource> samples(std::vector<float> stereo, bool loop = false);
// Frame n is {k, -k} / 2^24 with k = n mod 2^24 + 1: every frame differs, so that a lost, doubled or torn one
// shows.
std::unique_ptr<SampleSource> counter();
// A file, resampled to the device's rate. Fails at once when it can't be opened. One that can't be read on
// later ends there, and `failed` is told on the playing thread.
using FileFailure = std::function<void(const Error&)>;
Outcome<std::unique_ptr<SampleSource>> file(const std::string& path, bool loop = false,
                                            FileFailure failed = nullptr);

}  // namespace sonmere::SampleSources
