// Every set of kernels that this processor can run, against the plain loops of the tests.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <random>

#include "dsp/Equaliser.h"
#include "dsp/Limiter.h"
#include "support/RealtimeGuard.h"
#include "support/ReferenceDSP.h"

namespace sonmere {
namespace {

// Which of several NaNs comes out is the processor's choice.
bool areSame(float a, float b) {
  return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b) ||
         (std::isnan(a) && std::isnan(b));
}
testing::AssertionResult areSame(const std::vector<float>& actual, const std::vector<float>& expected) {
  for (std::size_t i = 0; i < expected.size(); ++i)
    if (!areSame(actual[i], expected[i]))
      return testing::AssertionFailure() << "sample " << i << ": " << actual[i] << ", not " << expected[i];
  return testing::AssertionSuccess();
}

class KernelTest : public testing::TestWithParam<const Kernels*> {
 protected:
  // Sound, silence, a tail that dies away, subnormals, or some samples that are no numbers.
  std::vector<float> block(std::size_t frames) {
    std::uniform_real_distribution<float> noise(-1, 1);
    std::vector<float> samples(2 * frames);
    const unsigned kind = random() % 8;
    float level = kind == 0 ? 0.0f : kind == 1 ? 1e-39f : std::exp2(float(random() % 7) - 4);
    for (float& sample : samples) {
      sample = noise(random) * level;
      if (kind == 2) level *= 0.93f;
    }
    const float strange[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                             -std::numeric_limits<float>::infinity(), -0.0f};
    if (kind == 3 && !samples.empty())
      for (int i = 0; i < 3; ++i) samples[random() % samples.size()] = strange[random() % 4];
    return samples;
  }
  // Mostly as long as a device's block, with all that lie next to a register's width.
  std::size_t frames() {
    const unsigned kind = random() % 4;
    return kind == 0 ? 1 + random() % 20 : kind == 1 ? 1 + random() % 4096 : 1 + random() % 700;
  }
  EQCoefficients someCoefficients() {
    std::uniform_real_distribution<double> f(0, 1);
    return coefficients48k({.isEnabled = true,
                            .highPassFreq = 20 + 2000 * f(random),
                            .lowPassFreq = 1000 + 19000 * f(random),
                            .paraFreq = 20 + 19000 * f(random),
                            .paraGain = 48 * f(random) - 24,
                            .paraQ = 10 * f(random)});
  }

  const Kernels& kernels = *GetParam();
  std::mt19937 random{17};
};

struct Stream {
  EQCoefficients coefficients{};
  reference::EqualiserState state;
  RTDoubles delays{kEQDelayCount};
  float gain = 1, expectedGain = 1;
  std::vector<float> actual, expected;

  void begin(const EQCoefficients& chosen) {
    coefficients = chosen;
    state = {};
    delays.zeroFill();
  }
  void next(std::vector<float> block) {
    actual = expected = std::move(block);
    // What is no number stays in a filter and in a gain for good: such a stream begins anew.
    if (std::isnan(float(delays[0]) + float(delays[5]) + float(delays[10]))) begin(coefficients);
    if (std::isnan(gain)) gain = 1;
  }
  bool hasExpectedDelays() const {
    for (std::size_t k = 0; k < 12; ++k)
      if (!areSame(float(delays[k]), state.z[k / 4][k / 2 % 2][k % 2])) return false;
    return true;
  }
};

TEST_P(KernelTest, EqualiserOfOneStreamEqualsThePlainLoop) {
  RealtimeGuard guard;
  Stream stream;
  for (int round = 0; round < 200; ++round) {
    const std::size_t n = frames();
    if (round % 10 == 0) stream.begin(someCoefficients());
    stream.next(block(n));
    EqualiserLane lane = equaliserLane(stream.coefficients, stream.delays);
    reference::equalise(stream.coefficients, stream.state, stream.expected.data(), n);
    {
      const RealtimeScope scope;
      kernels.equalise(lane, stream.actual.data(), n);
    }
    saveDelays(lane, stream.delays);
    ASSERT_TRUE(areSame(stream.actual, stream.expected)) << "round " << round << ", " << n << " frames";
    ASSERT_TRUE(stream.hasExpectedDelays()) << "round " << round;
  }
  EXPECT_REALTIME_SAFE(guard);
}

// Through equaliser and boost, back from lying side by side through the limiters, into the sum and through
// its equaliser; beside streams that are limited in place.
TEST_P(KernelTest, StreamsSideBySideEqualOneAfterTheOther) {
  RealtimeGuard guard;
  std::vector<Stream> streams(kMaxLanes);
  Stream sum;
  const LimiterRates rates = kLimiterRates48k;
  for (int round = 0; round < 800; ++round) {
    const std::size_t n = frames(), count = random() % (kMaxLanes + 1);
    const std::size_t beside = count < 2 || round % 4 == 0 ? 0
                               : round % 4 == 1            ? count
                                                           : 2 + random() % (count - 1);
    const bool isLimited = random() % 2, isEqualised = random() % 2, isStraight = random() % 2;
    const float ceiling = std::exp2(-float(random() % 4));
    std::vector<EqualiserLane> lanes(beside);
    std::vector<EqualiserLane*> lanePointers;
    std::vector<LimiterLane> sideLimiters, limiters;
    std::vector<float*> sideBlocks, limited;
    std::vector<const float*> sources;
    std::vector<float> boosts, peaks(beside), gains, side(kMaxLanes * 2 * n);

    if (round % 10 == 0) sum.begin(someCoefficients());
    sum.next(block(n));
    for (std::size_t s = 0; s < count; ++s) {
      Stream& stream = streams[s];
      if (round % 10 == 0) stream.begin(someCoefficients());
      stream.next(block(n));
      if (s < beside) {
        lanes[s] = equaliserLane(stream.coefficients, stream.delays);
        lanePointers.push_back(&lanes[s]);
        sideBlocks.push_back(stream.actual.data());
        boosts.push_back(random() % 2 ? 1.0f : 1.5f);
        reference::equalise(stream.coefficients, stream.state, stream.expected.data(), n);
        for (float& sample : stream.expected) sample *= boosts.back();
      }
      const float peak = reference::peakOf(stream.expected.data(), 2 * n);
      stream.expectedGain = stream.gain;
      if (s < beside ? isLimited : random() % 2 != 0) {
        (s < beside ? sideLimiters : limiters).push_back(limiterLane(peak, ceiling, stream.gain, rates));
        if (s >= beside) limited.push_back(stream.actual.data());
        stream.expectedGain =
            reference::limit(stream.expected.data(), n, ceiling, stream.gain, rates.attack, rates.release);
      }
      if (!isStraight && random() % 4 == 0) continue;
      sources.push_back(stream.actual.data());
      gains.push_back(float(random() % 5) * 0.25f);
      for (std::size_t i = 0; i < 2 * n; ++i)
        sum.expected[i] = sum.expected[i] + stream.expected[i] * gains.back();
    }
    EqualiserLane lane = equaliserLane(sum.coefficients, sum.delays);
    if (isEqualised) reference::equalise(sum.coefficients, sum.state, sum.expected.data(), n);
    {
      const RealtimeScope scope;
      if (beside > 0)
        kernels.equaliseSideBySide(
            {lanePointers.data(), sideBlocks.data(), boosts.data(), peaks.data(), beside, side.data()}, n);
      kernels.limitAndMix({.side = side.data(),
                           .sideBlocks = sideBlocks.data(),
                           .sideCount = beside,
                           .sideLimiters = isLimited ? sideLimiters.data() : nullptr,
                           .limiters = limiters.data(),
                           .limited = limited.data(),
                           .limitedCount = limiters.size(),
                           .sources = sources.data(),
                           .gains = gains.data(),
                           .sourceCount = sources.size(),
                           .sum = sum.actual.data(),
                           .equaliser = isEqualised ? &lane : nullptr},
                          n);
    }
    const auto where = [&] {
      return fmt::format("round {}, {} frames, {} streams, {} side by side, {} limited", round, n, count,
                         beside, sideLimiters.size() + limiters.size());
    };
    saveDelays(lane, sum.delays);
    ASSERT_TRUE(areSame(sum.actual, sum.expected)) << where();
    ASSERT_TRUE(sum.hasExpectedDelays()) << where();
    for (std::size_t s = 0, l = 0; s < count; ++s) {
      Stream& stream = streams[s];
      ASSERT_TRUE(areSame(stream.actual, stream.expected)) << where() << ", stream " << s;
      if (s < beside) {
        saveDelays(lanes[s], stream.delays);
        ASSERT_TRUE(stream.hasExpectedDelays()) << where() << ", stream " << s;
        if (isLimited) stream.gain = sideLimiters[s].gain;
      } else if (l < limited.size() && limited[l] == stream.actual.data()) {
        stream.gain = limiters[l++].gain;
      }
      ASSERT_TRUE(areSame(stream.gain, stream.expectedGain)) << where() << ", stream " << s;
    }
  }
  EXPECT_REALTIME_SAFE(guard);
}

TEST_P(KernelTest, AllElseEqualsPlainLoops) {
  for (int round = 0; round < 400; ++round) {
    const std::size_t n = frames();
    const auto x = block(n);
    auto y = block(n), expected = y;
    kernels.scale(y.data(), 1.7f, 2 * n);
    for (float& v : expected) v *= 1.7f;
    ASSERT_TRUE(areSame(y, expected));
    kernels.addTo(y.data(), x.data(), 2 * n);
    for (std::size_t i = 0; i < 2 * n; ++i) expected[i] += x[i];
    ASSERT_TRUE(areSame(y, expected));
    const std::size_t part = 2 * n - random() % 2;
    ASSERT_TRUE(areSame(kernels.maxMagnitude(x.data(), part), reference::peakOf(x.data(), part)));
    float lanes[8] = {};
    for (std::size_t i = 0; i < part; ++i) lanes[i % 8] += x[i] * x[i];
    ASSERT_TRUE(areSame(
        kernels.sumOfSquares(x.data(), part),
        ((lanes[0] + lanes[1]) + (lanes[2] + lanes[3])) + ((lanes[4] + lanes[5]) + (lanes[6] + lanes[7]))));
    std::vector<float> left(n), right(n), again(2 * n);
    kernels.deinterleave(x.data(), left.data(), right.data(), n);
    ASSERT_TRUE(areSame(left[n - 1], x[2 * n - 2]) && areSame(right[n / 2], x[2 * (n / 2) + 1]));
    kernels.interleave(left.data(), right.data(), again.data(), n);
    ASSERT_TRUE(areSame(again, x));
  }
}

TEST_P(KernelTest, SamplesOf16BitsEqualPlainLoops) {
  const float odd[] = {1.0f, -1.0f,    0.5f / 32768, 1.5f / 32768, -0.5f / 32768, 32766.5f / 32768,
                       NAN,  INFINITY, -INFINITY,    1e-40f,       3e38f};
  for (int round = 0; round < 200; ++round) {
    const std::size_t n = frames();
    std::vector<std::int16_t> integers(2 * n), back(2 * n);
    for (std::int16_t& value : integers) value = std::int16_t(random());
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(integers.data());
    std::vector<float> left(n), right(n), sum(n, 0.3f);
    kernels.stereoFromInt16(bytes, left.data(), right.data(), n);
    for (std::size_t i = 0; i < n; ++i)
      ASSERT_TRUE(left[i] == float(integers[2 * i]) / 32768 &&
                  right[i] == float(integers[2 * i + 1]) / 32768);
    std::vector<float> leftSum = sum, rightSum = sum;
    kernels.addStereoFromInt16(bytes, 0.7f, leftSum.data(), rightSum.data(), n);
    for (std::size_t i = 0; i < n; ++i)
      ASSERT_TRUE(leftSum[i] == 0.3f + left[i] * 0.7f && rightSum[i] == 0.3f + right[i] * 0.7f);
    for (std::size_t i = 0; i < n; ++i) {
      left[i] = random() % 4 ? left[i] * 1.2f + 1e-6f : odd[random() % std::size(odd)];
      right[i] = float(std::int16_t(random()) + 0.5f) / 32768;
    }
    kernels.int16FromStereo(left.data(), right.data(), reinterpret_cast<std::uint8_t*>(back.data()), n);
    const auto rounded = [](float x) {
      return std::isnan(x) ? 0L : std::lrint(std::clamp(double(x) * 32768, -32768.0, 32767.0));
    };
    for (std::size_t i = 0; i < n; ++i)
      ASSERT_TRUE(back[2 * i] == rounded(left[i]) && back[2 * i + 1] == rounded(right[i])) << left[i];
  }
}

INSTANTIATE_TEST_SUITE_P(Targets, KernelTest,
                         testing::ValuesIn(availableKernels().begin(), availableKernels().end()),
                         [](const auto& each) { return std::string(each.param->target); });

}  // namespace
}  // namespace sonmere
