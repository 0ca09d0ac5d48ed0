// What the microphone's callback costs of its block.
#include <fmt/format.h>

#include <random>
#include <vector>

#include "Bench.h"
#include "base/VirtualRuntime.h"
#include "input/MicCapture.h"

namespace sonmere {

namespace {

constexpr std::uint32_t kFrames = 256;
constexpr double kRate = 48000;
constexpr int kBlocks = 2000;

// Hands the callback noise.
class NoiseUnit final : public OutputUnit {
 public:
  explicit NoiseUnit(std::uint32_t channels) : noise_(std::size_t(kFrames) * channels) {
    std::mt19937 random(1);
    for (float& sample : noise_) sample = std::uniform_real_distribution<float>(-0.9f, 0.9f)(random);
  }
  std::uint64_t identifier() const override { return 1; }
  OSStatus setEnableIO(AudioScope, bool) override { return noErr; }
  OSStatus setCurrentDevice(AudioDeviceID) override { return noErr; }
  Result<AudioDeviceID> currentDevice() const override { return 1u; }
  OSStatus setStreamFormat(AudioScope, const AudioStreamFormat&) override { return noErr; }
  Result<AudioStreamFormat> hardwareFormat(AudioScope) const override { return AudioStreamFormat{kRate, 2}; }
  OSStatus setChannelMap(std::vector<std::int32_t>) override { return noErr; }
  OSStatus setMaximumFramesPerSlice(std::uint32_t) override { return noErr; }
  OSStatus setRenderCallback(RenderCallback, void*) override { return noErr; }
  OSStatus setInputCallback(InputCallback, void*) override { return noErr; }
  OSStatus initialize() override { return noErr; }
  OSStatus uninitialize() override { return noErr; }
  OSStatus start() override { return noErr; }
  OSStatus stop() override { return noErr; }
  OSStatus render(const AudioTimeStamp&, std::uint32_t, AudioBufferList buffers) noexcept override {
    std::copy(noise_.begin(), noise_.end(), buffers[0].data);
    return noErr;
  }

 private:
  std::vector<float> noise_;
};

// Per cent of a block, of a microphone with equaliser and limiter.
double share(const Bench& bench, int channels, int extras) {
  const auto send = std::make_unique<MicSend>();
  const auto state = std::make_shared<MicRenderState>(*send);
  NoiseUnit unit{std::uint32_t(channels)};
  MicCaptureContext context(state, channels, kRate);
  context.unit = &unit;
  state->eqCoefficients.copy(coefficients({true, 80, 12000, 1500, 6, 1.2}, kRate));
  state->eqEnabled = true;
  state->limiterEnabled = true;
  VirtualRuntime runtime(1);
  RenderRetirement retirement(runtime);
  auto sources = std::make_shared<ExtraSources>();
  for (int i = 0; i < extras; ++i)
    sources->push_back(
        {i, i, 0.5f, false, i, true, coefficients({true, 100, 9000, 800, -3, 1}, kRate), 1, 0.5f});
  state->extraSources.publish(std::move(sources), retirement, Duration::zero());
  std::vector<double> shares;
  for (int round = 0; round < std::max(1, bench.rounds() / 10); ++round) {
    const std::int64_t before = threadTime();
    for (int block = 0; block < kBlocks; ++block) micInputCallback(static_cast<RenderContext*>(&context), {}, 0, kFrames);
    shares.push_back(100 * double(threadTime() - before) / kBlocks / (1e9 * kFrames / kRate));
  }
  return median(shares);
}

}  // namespace

void benchInput(Bench& bench) {
  bench.add({"H1", "microphone, equaliser and limiter, % of 256 frames", share(bench, 2, 0), 1, true, {}});
  bench.add({"H2",
             "the same of 32 channels with 8 more inputs, % of 256 frames",
             share(bench, 32, 8),
             3,
             true,
             {}});
}

}  // namespace sonmere
