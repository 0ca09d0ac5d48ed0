#include "audio/effects/EffectTrial.h"

#include <fmt/format.h>

#include <array>
#include <bit>
#include <cmath>
#include <random>
#include <vector>

#include "audio/effects/PluginRenderScratch.h"
#include "base/FlushToZero.h"

namespace sonmere {

namespace {

constexpr std::array<std::uint32_t, 15> kBlockSizes{1,   2,   3,   16,   63,   64,   65,  128,
                                                    255, 256, 511, 1024, 2048, 4095, 4096};
constexpr std::uint32_t kUsualBlock = 256;
constexpr double kSecondsOfNoise = 1, kSecondsOfSilence = 0.5;
constexpr float kLoudness = 0.5f;

// By its bits: under flush-to-zero a comparison takes it for zero.
bool isDenormal(float sample) {
  const std::uint32_t magnitude = std::bit_cast<std::uint32_t>(sample) & 0x7FFF'FFFF;
  return magnitude != 0 && magnitude < 0x0080'0000;
}

class Trial {
 public:
  Trial(Effect& effect, double sampleRate) : effect_(effect), sampleRate_(sampleRate) {}

  std::optional<std::string> run() {
    for (auto part : {&Trial::noise, &Trial::silence, &Trial::impulses, &Trial::sizes}) {
      (this->*part)();
      if (fault_) break;
    }
    return fault_;
  }

 private:
  template <class Sample>
  void feed(const char* what, std::uint32_t frames, Sample sample) {
    if (fault_) return;
    for (std::uint32_t i = 0; i < frames; ++i)
      for (auto& plane : in_) plane[i] = sample(i);
    const float* const input[2] = {in_[0].data(), in_[1].data()};
    float* const output[2] = {out_[0].data(), out_[1].data()};
    const OSStatus status = effect_.render(time_, frames, input, output);
    time_ += frames;
    if (status != noErr) fault_ = fmt::format("it fails with {} (status {})", what, status);
    for (const auto& plane : out_) look(what, plane.data(), frames);
  }

  void look(const char* what, const float* samples, std::uint32_t frames) {
    for (std::uint32_t i = 0; i < frames && !fault_; ++i) {
      if (!std::isfinite(samples[i])) fault_ = fmt::format("it turns {} into what is no number", what);
      if (isDenormal(samples[i])) fault_ = fmt::format("it turns {} into denormal numbers", what);
    }
  }

  float random() { return std::uniform_real_distribution<float>(-kLoudness, kLoudness)(random_); }
  int usualBlocks(double seconds) const { return int(seconds * sampleRate_ / kUsualBlock); }

  void noise() {
    for (int i = 0; i < usualBlocks(kSecondsOfNoise); ++i)
      feed("noise", kUsualBlock, [this](std::uint32_t) { return random(); });
  }
  void silence() {
    for (int i = 0; i < usualBlocks(kSecondsOfSilence); ++i)
      feed("silence", kUsualBlock, [](std::uint32_t) { return 0.0f; });
  }
  void impulses() {
    for (const float loudness : {1.0f, -1.0f, 1e-6f})
      feed("impulses", kUsualBlock, [=](std::uint32_t i) { return i == 0 ? loudness : 0.0f; });
  }
  void sizes() {
    for (const std::uint32_t frames : kBlockSizes) {
      const std::string what = fmt::format("a block of {} frames", frames);
      feed(what.c_str(), frames, [this](std::uint32_t) { return random(); });
    }
  }

  Effect& effect_;
  const double sampleRate_;
  std::array<std::vector<float>, 2> in_{std::vector<float>(kMaxPluginFrames),
                                        std::vector<float>(kMaxPluginFrames)};
  std::array<std::vector<float>, 2> out_ = in_;
  double time_ = 0;
  std::mt19937 random_{1};
  std::optional<std::string> fault_;
};

}  // namespace

std::optional<std::string> tryEffect(Effect& effect, double sampleRate) {
  const FlushToZero flush;
  return Trial(effect, sampleRate).run();
}

}  // namespace sonmere
