#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <random>

#include "Bench.h"
#include "base/VirtualRuntime.h"
#include "dsp/Limiter.h"
#include "dsp/TapBatch.h"
#include "dsp/VectorMath.h"
#include "routing/BusRender.h"
#include "routing/RoutingCore.h"

namespace sonmere {
namespace {

constexpr std::size_t kFrames = 256, kSamples = 2 * kFrames;
constexpr std::size_t kMostTaps = 16;
// Blocks of one round; as many different ones as there are levels.
constexpr std::size_t kBlocks = 200;
constexpr std::size_t kLevels = 5;

// The chain as it is written down: three passes of the equaliser, the volume, the limiter, the sum.
namespace plain {

struct Chain {
  EQCoefficients coefficients{};
  float z[12] = {};
  float gain = 1;
};

void equalise(Chain& chain, float* block) {
  for (std::size_t s = 0; s < 3; ++s) {
    const double* c = chain.coefficients.data() + 5 * s;
    const float b0 = float(c[0]), b1 = float(c[1]), b2 = float(c[2]), a1 = float(c[3]), a2 = float(c[4]);
    float* z = chain.z + 4 * s;
    float left1 = z[0], left2 = z[1], right1 = z[2], right2 = z[3];
    for (std::size_t i = 0; i < kFrames; ++i) {
      const float x = block[2 * i], y = b0 * x + left1;
      left1 = (b1 * x - a1 * y) + left2;
      left2 = b2 * x - a2 * y;
      block[2 * i] = y;
      const float u = block[2 * i + 1], v = b0 * u + right1;
      right1 = (b1 * u - a1 * v) + right2;
      right2 = b2 * u - a2 * v;
      block[2 * i + 1] = v;
    }
    z[0] = left1, z[1] = left2, z[2] = right1, z[3] = right2;
  }
}

void limit(Chain& chain, float* block, float ceiling) {
  float peak = 0;
  for (std::size_t i = 0; i < kSamples; ++i) peak = std::fabs(block[i]) > peak ? std::fabs(block[i]) : peak;
  const float target = chain.gain * peak > ceiling ? ceiling / std::max(peak, 1e-9f) : 1.0f;
  float gain = chain.gain;
  for (std::size_t i = 0; i < kFrames; ++i) {
    gain = (gain - target) * (gain > target ? kLimiterRates48k.attack : kLimiterRates48k.release) + target;
    for (std::size_t channel = 0; channel < 2; ++channel) {
      float v = block[2 * i + channel] * gain;
      if (v > ceiling) v = ceiling;
      if (!(v > -ceiling)) v = -ceiling;
      block[2 * i + channel] = v;
    }
  }
  chain.gain = gain;
}

}  // namespace plain

EQCoefficients someCoefficients(std::size_t index) {
  return coefficients48k({.isEnabled = true,
                          .highPassFreq = 40.0 + 10 * double(index),
                          .lowPassFreq = 15000,
                          .paraFreq = 500.0 + 300 * double(index),
                          .paraGain = 4});
}

// Some taps and their master, once as plain loops and once as the renders do it.
class ChainPair {
  using Block = std::array<float, kSamples>;

 public:
  ChainPair(std::size_t taps, bool isMoving) : taps_(taps), ceiling_(isMoving ? 0.5f : 8.0f) {
    std::minstd_rand random(1);
    std::uniform_real_distribution<float> noise(-1, 1);
    for (std::size_t level = 0; level < kLevels; ++level)
      for (std::size_t tap = 0; tap < taps; ++tap)
        for (float& sample : inputs_[level][tap])
          sample = noise(random) * 0.4f * float(1 + (level + tap) % kLevels);
    for (std::size_t tap = 0; tap < taps; ++tap) {
      plainTaps_[tap].coefficients = someCoefficients(tap);
      effects_[tap].eqCoefficients.copy(someCoefficients(tap));
      effects_[tap].eqEnabled = effects_[tap].limiterEnabled = true;
    }
    plainMaster_.coefficients = masterCoefficients_ = someCoefficients(9);
  }

  // Each returns the time of the effects, in ns. How the samples come in is not part of it.
  double runPlain() {
    std::int64_t time = 0;
    for (std::size_t i = 0; i < kBlocks; ++i) {
      for (std::size_t tap = 0; tap < taps_; ++tap) copyIn(i, tap, plainBlocks_[tap].data());
      plainOut_.fill(0);
      const std::int64_t begin = elapsedTime();
      for (std::size_t tap = 0; tap < taps_; ++tap) {
        float* block = plainBlocks_[tap].data();
        plain::equalise(plainTaps_[tap], block);
        for (std::size_t k = 0; k < kSamples; ++k) block[k] *= kVolume;
        plain::limit(plainTaps_[tap], block, ceiling_);
        for (std::size_t k = 0; k < kSamples; ++k) plainOut_[k] = plainOut_[k] + block[k] * 1.0f;
      }
      plain::equalise(plainMaster_, plainOut_.data());
      plain::limit(plainMaster_, plainOut_.data(), 2 * ceiling_);
      time += elapsedTime() - begin;
    }
    return double(time);
  }
  double runOurs() {
    std::int64_t time = 0;
    for (std::size_t i = 0; i < kBlocks; ++i) {
      out_.fill(0);
      EqualiserLane master;
      for (std::size_t tap = 0; tap < taps_;) {
        TapBatch batch(scratch_, kSamples);
        for (; tap < taps_ && !batch.isFull(); ++tap) {
          copyIn(i, tap, batch.nextBlock());
          batch.add(effects_[tap], kVolume, ceiling_, 1);
        }
        const bool isLast = tap == taps_;
        const std::int64_t begin = elapsedTime();
        if (isLast) master = equaliserLane(masterCoefficients_, masterDelays_);
        batch.equaliseAndBoost();
        batch.limitAndMix(out_.data(), isLast ? &master : nullptr);
        if (isLast) finishMaster(master);
        time += elapsedTime() - begin;
      }
    }
    return double(time);
  }
  void check() const {
    if (std::memcmp(plainOut_.data(), out_.data(), sizeof out_) != 0)
      benchFailed(std::string("the plain chain and the kernels differ on ") + kernels().target);
  }

 private:
  static constexpr float kVolume = 1.25f;

  void finishMaster(EqualiserLane& master) {
    saveDelays(master, masterDelays_);
    masterGain_ = limitUnlessSilent(out_, 2 * ceiling_, masterGain_,
                                    kBusQuietThreshold, kLimiterRates48k);
  }
  void copyIn(std::size_t block, std::size_t tap, float* target) const {
    std::memcpy(target, inputs_[block % kLevels][tap].data(), sizeof(Block));
  }

  const std::size_t taps_;
  const float ceiling_;
  std::array<std::array<Block, kMostTaps>, kLevels> inputs_{};
  alignas(64) std::array<Block, kMostTaps> plainBlocks_{};
  std::array<plain::Chain, kMostTaps> plainTaps_;
  plain::Chain plainMaster_;
  alignas(64) Block plainOut_{};
  std::array<TapEffects, kMostTaps> effects_;
  RenderScratch scratch_;
  EQCoefficients masterCoefficients_{};
  RTDoubles masterDelays_{kEQDelayCount};
  float masterGain_ = 1;
  alignas(64) Block out_{};
};

double chainRatio(Bench& bench, std::size_t taps, bool isMoving) {
  const auto pair = std::make_unique<ChainPair>(taps, isMoving);
  for (int i = 0; i < 3; ++i) {
    pair->runPlain();
    pair->runOurs();
    pair->check();
  }
  std::vector<double> plainTimes, ourTimes;
  const auto noted = [](std::vector<double>& times, double time) {
    times.push_back(time / double(kBlocks * kFrames));
    return time;
  };
  const double ratio = bench.ratioOfTimes([&] { return noted(plainTimes, pair->runPlain()); },
                                          [&] { return noted(ourTimes, pair->runOurs()); });
  bench.note(fmt::format("{} taps{}, {}: plain {:.1f} ns a frame, kernels {:.1f}; at best {:.1f} and {:.1f}",
                         taps, isMoving ? "" : " at rest", kernels().target, median(plainTimes),
                         median(ourTimes), std::ranges::min(plainTimes), std::ranges::min(ourTimes)));
  return ratio;
}

// A bus with eight taps, all its feeds and a recorder, and beside it the same effects on blocks at hand.
class BusBeside {
 public:
  BusBeside() {
    auto lists = std::make_shared<BusTapLists>();
    for (std::size_t i = 0; i < kTaps; ++i) {
      auto tap = std::make_shared<SingleAppTap>(1, std::vector<AudioObjectID>{1}, "app", flags_);
      for (TapEffects* effects : {static_cast<TapEffects*>(tap.get()), &effects_[i]}) {
        effects->eqCoefficients.copy(someCoefficients(i));
        effects->eqEnabled = effects->limiterEnabled = true;
        effects->limiterCeiling = 0.5f;
      }
      tap->monitor.setEnabled(i == 0);
      lists->buses[kBus].push_back(tap);
      taps_.push_back(std::move(tap));
    }
    state_->activeTapsByBus.publish(std::move(lists), retirement_, kSnapshotGrace);
    BusMaster& master = state_->masters[kBus];
    master.eqCoefficients.publish(std::make_shared<const EQCoefficients>(coefficients_), retirement_,
                                  kSnapshotGrace);
    master.eqEnabled = master.limiterEnabled = true;
    master.limiterCeiling = 0.9f;
    master.monitor.setEnabled(true);
    master.recorder.publish(std::make_shared<RecorderRing>(), retirement_, kSnapshotGrace);
    std::minstd_rand random(1);
    std::uniform_real_distribution<float> noise(-0.8f, 0.8f);
    for (float& sample : input_) sample = noise(random);
  }

  // What the callback takes for its blocks beyond what the kernels take for theirs, as a share of the latter.
  double costBeyondKernels(int rounds) {
    std::vector<double> shares;
    for (int round = 0; round < rounds; ++round) {
      std::int64_t whole = 0, kernelsAlone = 0;
      for (std::size_t i = 0; i < kBlocks; ++i) {
        for (const auto& tap : taps_) tap->ring.writer.write(input_.data(), kSamples);
        AudioBuffer buffer{2, sizeof out_, out_.data()};
        const std::int64_t begin = elapsedTime();
        renderBus(static_cast<RenderContext*>(&context_), {}, kFrames, {&buffer, 1});
        const std::int64_t middle = elapsedTime();
        whole += middle - begin;
        kernelsAlone += timeKernels();
      }
      shares.push_back(double(whole) / double(kernelsAlone) - 1);
    }
    return median(std::move(shares));
  }

 private:
  static constexpr std::size_t kTaps = 8, kBus = 2;

  std::int64_t timeKernels() {
    TapBatch batch(scratch_, kSamples);
    for (TapEffects& effects : effects_) {
      std::memcpy(batch.nextBlock(), input_.data(), sizeof input_);
      batch.add(effects, 1, 0.5f, 1);
    }
    alone_.fill(0);
    const std::int64_t begin = elapsedTime();
    EqualiserLane master = equaliserLane(coefficients_, delays_);
    batch.equaliseAndBoost();
    batch.limitAndMix(alone_.data(), &master);
    saveDelays(master, delays_);
    gain_ = limitUnlessSilent(alone_, 0.9f, gain_, kBusQuietThreshold,
                              kLimiterRates48k);
    const std::int64_t time = elapsedTime() - begin;
    if (std::memcmp(alone_.data(), out_.data(), sizeof out_) != 0)
      benchFailed("the bus render and its kernels differ");
    return time;
  }

  VirtualRuntime runtime_{1};
  RenderRetirement retirement_{runtime_};
  RenderFlags flags_;
  MicSend mic_;
  std::shared_ptr<BusRenderState> state_ = std::make_shared<BusRenderState>(flags_, mic_);
  OutputAUContext context_{state_, kBus, 48000};
  std::vector<std::shared_ptr<SingleAppTap>> taps_;

  const EQCoefficients coefficients_ = someCoefficients(9);
  std::array<TapEffects, kTaps> effects_;
  RenderScratch scratch_;
  RTDoubles delays_{kEQDelayCount};
  float gain_ = 1;
  std::array<float, kSamples> input_{};
  alignas(64) std::array<float, kSamples> out_{};
  alignas(64) std::array<float, kSamples> alone_{};
};

double goalOfEightTaps(const Kernels& kernels) { return std::strcmp(kernels.target, "avx512") == 0 ? 10 : 7; }

}  // namespace

void benchKernels(Bench& bench) {
  for (const Kernels* set : availableKernels()) {
    const std::string target = set->target;
    if (target != "avx512" && target != "avx2") continue;
    chooseKernels(set);
    bench.add({"A1", "8 taps, 256 frames, moving levels: plain chain / kernels", chainRatio(bench, 8, true),
               goalOfEightTaps(*set), false, target});
    bench.add({"A2", "1 tap: plain chain / kernels", chainRatio(bench, 1, true), 3, false, target});
    bench.add({"A3", "16 taps, limiters at rest: plain chain / kernels", chainRatio(bench, 16, false), 12,
               false, target});
  }
  chooseKernels(nullptr);
  bench.add({"A5", "bus render of 8 taps: its cost beyond the kernels, as a share",
             std::make_unique<BusBeside>()->costBeyondKernels(bench.rounds()), 0.30, true, kernels().target});
}

}  // namespace sonmere
