#include <gtest/gtest.h>

#include <numeric>
#include <thread>
#include <vector>

#include "dsp/RecorderRing.h"
#include "dsp/Ring.h"
#include "dsp/RingProbe.h"
#include "dsp/SpectrumRing.h"

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

}  // namespace
}  // namespace sonmere
