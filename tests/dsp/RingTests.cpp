#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <random>
#include <thread>
#include <vector>

#include "dsp/RecorderRing.h"
#include "dsp/Ring.h"
#include "dsp/SpectrumRing.h"
#include "dsp/StereoRing.h"

namespace sonmere {
namespace {

std::vector<float> counted(std::size_t n, float first = 1) {
  std::vector<float> samples(n);
  std::iota(samples.begin(), samples.end(), first);
  return samples;
}

TEST(Ring, AWriteThatWrapsGoesToTheEndAndTheStart) {
  std::vector<float> ring(kTapRingSamples, 0.0f);
  RTPosition writePos(47950), readPos;
  const auto samples = counted(100);
  ringWrite<kTapRingSamples>(ring.data(), writePos, readPos, samples.data(), 100);
  EXPECT_EQ(writePos.loadRelaxed(), 50);
  EXPECT_EQ(ring[47950], 1);
  EXPECT_EQ(ring[47999], 50);
  EXPECT_EQ(ring[0], 51);
  EXPECT_EQ(ring[49], 100);
  EXPECT_EQ(ring[50], 0);

  std::vector<float> back(100);
  ringCopyOut<kTapRingSamples>(ring.data(), 47950, back.data(), 100);
  EXPECT_EQ(back, samples);
}

TEST(Ring, AFullRingReadsAsEmptyAndAnOverlongWriteKeepsTheNewest) {
  EXPECT_EQ(ringAvailable<kTapRingSamples>(7, 7), 0);
  EXPECT_EQ(ringAvailable<kTapRingSamples>(6, 7), kTapRingSamples - 1);

  std::vector<float> ring(64);
  RTPosition writePos(10), readPos;
  const auto samples = counted(150);
  ringWrite<64>(ring.data(), writePos, readPos, samples.data(), 150);
  EXPECT_EQ(writePos.loadRelaxed(), (10 + 150) % 64);
  std::vector<float> back(64);
  ringCopyOut<64>(ring.data(), writePos.loadRelaxed(), back.data(), 64);
  EXPECT_EQ(back, counted(64, 87));
}

TEST(Ring, TheSpectrumTakesTheMeanOfWholePairs) {
  SpectrumRing spectrum;
  spectrum.writePos = kSpectrumRingSamples - 1;
  const float samples[] = {1, 3, -2, -4, 9};
  spectrum.feed(samples, 5);
  EXPECT_EQ(spectrum.samples[kSpectrumRingSamples - 1], 2.0f);
  EXPECT_EQ(spectrum.samples[0], -3.0f);
  EXPECT_EQ(spectrum.samples[1], 0.0f);
  EXPECT_EQ(spectrum.writePos, 1);
}

// A payload that counts proves that no sample is seen before it is there.
TEST(RingThread, AReaderSeesEverySampleOnceAndInOrder) {
  RecorderRing ring;
  constexpr std::int64_t kTotal = 4'000'000;
  constexpr std::int64_t kBlock = 510;
  std::thread writer([&] {
    std::vector<float> block(kBlock);
    for (std::int64_t sent = 0; sent < kTotal;) {
      // The test keeps the writer from lapping; the ring itself would not.
      if (ringAvailable<kRecorderRingSamples>(ring.writePos.loadRelaxed(), ring.readPos.loadAcquire()) +
              kBlock >=
          kRecorderRingSamples) {
        std::this_thread::yield();
        continue;
      }
      for (auto& sample : block) sample = float(sent++ % 1'000'003);
      ring.write(block.data(), kBlock);
    }
  });
  std::vector<float> block(kRecorderRingSamples);
  std::int64_t seen = 0, wrong = 0;
  while (seen < kTotal) {
    const std::int64_t readPos = ring.readPos.loadRelaxed();
    const std::int64_t n = ringAvailable<kRecorderRingSamples>(ring.writePos.loadAcquire(), readPos);
    ringCopyOut<kRecorderRingSamples>(ring.buffer.get(), readPos, block.data(), n);
    ring.readPos.storeRelease((readPos + n) % kRecorderRingSamples);
    for (std::int64_t i = 0; i < n; ++i) wrong += block[std::size_t(i)] != float(seen++ % 1'000'003);
    if (n == 0) std::this_thread::yield();
  }
  writer.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(ring.written.loadRelaxed(), seen);
}

// Random writes, pulls, starts and trims: what is pulled is what was written, in its order, and every sample
// is accounted for.
TEST(StereoRing, EverySampleIsPulledInItsOrderOrAccountedFor) {
  std::minstd_rand random(5);
  StereoRing ring;
  float next = 1, expected = 1;
  std::int64_t lost = 0;
  std::vector<float> block(4096);
  for (int step = 0; step < 4000; ++step) {
    const std::int64_t n = 1 + std::int64_t(random() % 3000);
    if (random() % 2 == 0 && ring.available() + n < StereoRing::kCapacity) {
      const auto samples = counted(std::size_t(n), next);
      ring.writer.write(samples.data(), n);
      next += float(n);
      if (next > 1e7f) break;  // floats count no further
    }
    if (random() % 50 == 0) ring.requests.startLive = true;
    if (random() % 50 == 0) ring.requests.trim = true;
    ring.reader().startIfAsked(n);
    ring.reader().trimIfAsked(n);
    expected += float(ring.reader().skipped - lost);
    lost = ring.reader().skipped;
    const std::int64_t before = ring.available(), wanted = n / 3;
    const bool got = ring.reader().pull(block.data(), wanted, 48000);
    ASSERT_EQ(got, before >= wanted);
    for (std::int64_t i = 0; got && i < wanted; ++i) ASSERT_EQ(block[std::size_t(i)], expected++);
    expected += float(ring.reader().skipped - lost);
    lost = ring.reader().skipped;
    ASSERT_EQ(ring.lapped(), 0);
  }
  EXPECT_GT(lost, 0);
  EXPECT_EQ(ring.writer.written, ring.reader().read + lost + ring.available());
}

TEST(StereoRing, AWriteWithAGainIsThatOfTheScaledSamples) {
  StereoRing scaled, plain;
  const auto samples = counted(3000);
  for (int round = 0; round < 20; ++round) {
    auto half = samples;
    for (float& sample : half) sample *= 0.3f;
    scaled.writer.write(samples.data(), 3000, 0.3f);
    plain.writer.write(half.data(), 3000);
  }
  EXPECT_EQ(std::memcmp(scaled.data(), plain.data(), StereoRing::kCapacity * sizeof(float)), 0);
  EXPECT_EQ(scaled.available(), plain.available());
  EXPECT_EQ(scaled.writer.overflows, 0) << "nobody reads before the start";
}

}  // namespace
}  // namespace sonmere
