// Every set of kernels that this processor can run, against the plain loops of the tests.

#include <gtest/gtest.h>

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
};

TEST_P(KernelTest, EqualisersOfStreamsSideBySideEqualEachAlone) {
  RealtimeGuard guard;
  std::vector<Stream> streams(kMaxLanes);
  for (Stream& stream : streams) stream.coefficients = someCoefficients();
  for (int round = 0; round < 300; ++round) {
    const std::size_t n = frames(), count = 1 + random() % kMaxLanes;
    std::vector<EqualiserLane> lanes;
    std::vector<float*> blocks;
    for (std::size_t s = 0; s < count; ++s) {
      Stream& stream = streams[s];
      // What is no number stays in a filter for good: such a stream begins anew.
      if (std::isnan(float(stream.delays[0]) + float(stream.delays[5]) + float(stream.delays[10]))) {
        stream.delays.zeroFill();
        stream.state = {};
      }
      stream.actual = stream.expected = block(n);
      reference::equalise(stream.coefficients, stream.state, stream.expected.data(), n);
      lanes.push_back(equaliserLane(stream.coefficients, stream.delays));
      blocks.push_back(stream.actual.data());
    }
    {
      const RealtimeScope scope;
      if (count == 1 || round % 5 == 0)
        for (std::size_t s = 0; s < count; ++s) kernels.equalise(lanes[s], blocks[s], n);
      else
        kernels.equaliseLanes(lanes.data(), blocks.data(), count, n);
    }
    for (std::size_t s = 0; s < count; ++s) {
      saveDelays(lanes[s], streams[s].delays);
      ASSERT_TRUE(areSame(streams[s].actual, streams[s].expected))
          << "round " << round << ", " << n << " frames, stream " << s << " of " << count;
      for (std::size_t k = 0; k < 12; ++k)
        ASSERT_TRUE(areSame(float(streams[s].delays[k]), streams[s].state.z[k / 4][k / 2 % 2][k % 2]))
            << "round " << round << ", delay " << k;
    }
  }
  EXPECT_REALTIME_SAFE(guard);
}

TEST_P(KernelTest, LimitersSumAndItsEqualiserEqualOneAfterTheOther) {
  RealtimeGuard guard;
  std::vector<Stream> streams(kMaxLanes);
  Stream sum;
  sum.coefficients = someCoefficients();
  const LimiterRates rates = kLimiterRates48k;
  for (int round = 0; round < 400; ++round) {
    const std::size_t n = frames(), count = random() % (kMaxLanes + 1);
    const bool isEqualised = random() % 2;
    const float ceiling = std::exp2(-float(random() % 4));
    std::vector<LimiterLane> limiters;
    std::vector<float*> limited, sources;
    std::vector<float> gains;
    sum.expected = sum.actual = block(n);
    for (std::size_t s = 0; s < count; ++s) {
      Stream& stream = streams[s];
      stream.actual = stream.expected = block(n);
      if (std::isnan(stream.gain)) stream.gain = 1;
      if (random() % 3) {
        const float peak = reference::peakOf(stream.expected.data(), 2 * n);
        limiters.push_back(limiterLane(peak, ceiling, stream.gain, rates));
        limited.push_back(stream.actual.data());
        stream.expectedGain =
            reference::limit(stream.expected.data(), n, ceiling, stream.gain, rates.attack, rates.release);
      } else {
        stream.expectedGain = stream.gain;
      }
      if (random() % 4 == 0) continue;
      sources.push_back(stream.actual.data());
      gains.push_back(float(random() % 5) * 0.25f);
      for (std::size_t i = 0; i < 2 * n; ++i)
        sum.expected[i] = sum.expected[i] + stream.expected[i] * gains.back();
    }
    if (std::isnan(float(sum.delays[0]) + float(sum.delays[5]) + float(sum.delays[10]))) {
      sum.delays.zeroFill();
      sum.state = {};
    }
    EqualiserLane lane = equaliserLane(sum.coefficients, sum.delays);
    if (isEqualised) reference::equalise(sum.coefficients, sum.state, sum.expected.data(), n);
    {
      const RealtimeScope scope;
      kernels.limitAndMix({limiters.data(), limited.data(), limiters.size(), sources.data(), gains.data(),
                           sources.size(), sum.actual.data(), isEqualised ? &lane : nullptr},
                          n);
    }
    saveDelays(lane, sum.delays);
    ASSERT_TRUE(areSame(sum.actual, sum.expected)) << "round " << round << ", " << n << " frames, " << count
                                                   << " streams, " << limiters.size() << " limited";
    for (std::size_t s = 0, l = 0; s < count; ++s) {
      ASSERT_TRUE(areSame(streams[s].actual, streams[s].expected)) << "round " << round << ", stream " << s;
      if (l < limited.size() && limited[l] == streams[s].actual.data()) streams[s].gain = limiters[l++].gain;
      ASSERT_TRUE(areSame(streams[s].gain, streams[s].expectedGain)) << "round " << round << ", stream " << s;
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
    std::vector<std::int16_t> integers(2 * n);
    for (std::int16_t& value : integers) value = std::int16_t(random());
    kernels.stereoFromInt16(reinterpret_cast<const std::uint8_t*>(integers.data()), left.data(), right.data(),
                            n);
    for (std::size_t i = 0; i < n; ++i)
      ASSERT_TRUE(left[i] == float(integers[2 * i]) / 32768 &&
                  right[i] == float(integers[2 * i + 1]) / 32768);
  }
}

INSTANTIATE_TEST_SUITE_P(Targets, KernelTest,
                         testing::ValuesIn(availableKernels().begin(), availableKernels().end()),
                         [](const auto& each) { return std::string(each.param->target); });

}  // namespace
}  // namespace sonmere
