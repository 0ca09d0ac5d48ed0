#include "audio/file/StreamResampler.h"

#include <limits>
#include <optional>
#include <random>

#include "FileSupport.h"

namespace sonmere {
namespace {

// A file that is only in memory.
class MemoryReader final : public AudioFileReader {
 public:
  MemoryReader(const PCMFormat& format, std::vector<float> samples)
      : format_(format), samples_(std::move(samples)) {}

  const PCMFormat& format() const override { return format_; }
  std::int64_t frameCount() const override { return claimed_.value_or(held()); }
  const std::string& container() const override { return container_; }

  Outcome<std::uint32_t> read(float* interleaved, std::uint32_t frames) override {
    if (fails_) return std::unexpected(Error{"Memory", 7, "broken"});
    const auto count = std::uint32_t(std::min<std::int64_t>(frames, held() - position_));
    std::copy_n(samples_.data() + position_ * format_.channels, count * format_.channels, interleaved);
    position_ += count;
    return count;
  }

  Outcome<void> seek(std::int64_t frame) override {
    position_ = std::clamp<std::int64_t>(frame, 0, held());
    return {};
  }

  void fail() { fails_ = true; }
  void claim(std::int64_t frames) { claimed_ = frames; }

 private:
  std::int64_t held() const { return std::int64_t(samples_.size() / format_.channels); }

  PCMFormat format_;
  std::vector<float> samples_;
  std::string container_ = "memory";
  std::int64_t position_ = 0;
  bool fails_ = false;
  std::optional<std::int64_t> claimed_;
};

std::unique_ptr<AudioFileReader> memory(double rate, std::uint32_t channels, std::vector<float> samples) {
  return std::make_unique<MemoryReader>(PCMFormat{rate, channels}, std::move(samples));
}

constexpr std::pair<double, double> kRates[] = {{44100, 48000}, {48000, 44100}, {22050, 48000},
                                                {96000, 48000}, {8000, 192000}, {47999, 48000},
                                                {192000, 16000}};

TEST(FileResampler, TonesStayPureInPlaceAndToTheLastFrame) {
  for (const auto& [from, to] : kRates) {
    SCOPED_TRACE(std::to_string(from) + " to " + std::to_string(to));
    const auto frames = std::size_t(from) + 17;
    const auto reader = resampled(memory(from, 2, tone(997, from, frames, 2)), {to, 2});
    EXPECT_EQ(reader->format(), (PCMFormat{to, 2}));
    const auto samples = readAll(*reader);
    EXPECT_EQ(samples.size() / 2, std::size_t(std::llround(double(frames) * to / from)));
    EXPECT_EQ(reader->frameCount(), std::int64_t(samples.size() / 2));
    const auto margin = std::size_t(to / 20);
    EXPECT_LT(residualDb(samples, 2, 0, 997, to, margin), -110);
    EXPECT_LT(residualDb(samples, 2, 1, 997, to, margin), -110);
  }
}

TEST(FileResampler, WhatTheNewRateCannotHoldIsRemoved) {
  const auto reader = resampled(memory(96000, 1, tone(30000, 96000, 96000, 1)), {48000, 1});
  const auto samples = readAll(*reader);
  for (std::size_t i = 2000; i < samples.size() - 2000; ++i) ASSERT_NEAR(samples[i], 0, 1e-6);
}

TEST(FileResampler, BlockSizeChangesNothing) {
  const auto source = tone(997, 44100, 20000, 2);
  const auto expected = readAll(*resampled(memory(44100, 2, source), {48000, 2}), 4096);
  for (const std::uint32_t block : {1, 7, 480, 9000}) {
    EXPECT_EQ(readAll(*resampled(memory(44100, 2, source), {48000, 2}), block), expected);
  }
}

TEST(FileResampler, SeekDeliversWhatReadingOnWould) {
  std::mt19937 random(3);
  for (const auto& [from, to] : kRates) {
    std::vector<float> noise(std::size_t(from) * 2);
    for (float& sample : noise) sample = std::uniform_real_distribution<float>(-1, 1)(random);
    const auto reader = resampled(memory(from, 1, noise), {to, 1});
    const auto whole = readAll(*reader);
    // A seek in the middle must not leave the rest of a block behind.
    float some[100];
    ASSERT_TRUE(reader->seek(0));
    ASSERT_EQ(*reader->read(some, 100), 100u);
    for (const std::size_t target :
         {std::size_t(1234), whole.size() - 500, std::size_t(0), whole.size() / 2}) {
      ASSERT_TRUE(reader->seek(std::int64_t(target)));
      const auto rest = readAll(*reader);
      ASSERT_EQ(rest.size(), whole.size() - target) << from << " to " << to;
      for (std::size_t i = 0; i < rest.size(); ++i) {
        ASSERT_NEAR(rest[i], whole[target + i], 1e-5) << from << " to " << to << " from frame " << target;
      }
    }
  }
}

TEST(FileResampler, EqualFormatsPassUnchanged) {
  std::vector<float> samples = {1.5f, -0.0f, 1e-40f, -3.0f};
  auto source = memory(48000, 2, samples);
  const AudioFileReader* before = source.get();
  const auto reader = resampled(std::move(source), {48000, 2});
  EXPECT_EQ(reader.get(), before) << "nothing stands in between";
  EXPECT_EQ(readAll(*reader), samples);
}

TEST(FileResampler, ChannelsAreCopiedOrMixed) {
  const auto map = [](std::uint32_t from, std::uint32_t to, std::vector<float> samples) {
    return readAll(*resampled(memory(48000, from, std::move(samples)), {48000, to}), 1);
  };
  EXPECT_EQ(map(1, 2, {1, 2}), (std::vector<float>{1, 1, 2, 2}));
  const float k = std::sqrt(0.5f);
  EXPECT_EQ(map(4, 2, {1, 2, 0, 0, 0, 0, 1, 2}), (std::vector<float>{1, 2, k, 2 * k}));
  EXPECT_EQ(map(9, 2, {0, 0, 0, 0, 0, 0, 0, 0, 1}), (std::vector<float>{k, k})) << "nothing is left out";
  EXPECT_EQ(map(4, 1, {0, 0, 1, 1}), std::vector<float>{k});
  EXPECT_EQ(map(2, 1, {1, 2, 3, 5}), (std::vector<float>{1.5, 4}));
  EXPECT_EQ(map(2, 3, {1, 2}), (std::vector<float>{1, 2, 0}));

  const auto both = resampled(memory(44100, 1, tone(997, 44100, 44100, 1)), {48000, 2});
  const auto samples = readAll(*both);
  ASSERT_EQ(samples.size(), 96000u);
  for (std::size_t i = 0; i < samples.size(); i += 2) ASSERT_EQ(samples[i], samples[i + 1]);
}

TEST(FileResampler, ErrorsOfTheSourceAndImpossibleRatesAreReported) {
  auto broken = std::make_unique<MemoryReader>(PCMFormat{44100, 1}, tone(997, 44100, 1000, 1));
  broken->fail();
  float sample[4];
  const auto failed = resampled(std::move(broken), {48000, 2})->read(sample, 1);
  ASSERT_FALSE(failed);
  EXPECT_EQ(failed.error().code, 7);
  EXPECT_FALSE(resampled(memory(44100, 1, {1, 2, 3}), {0, 1})->read(sample, 1));
}

TEST(FileResampler, NoFramesGiveNoFrames) {
  const auto reader = resampled(memory(44100, 2, {}), {48000, 2});
  EXPECT_EQ(reader->frameCount(), 0);
  EXPECT_TRUE(readAll(*reader).empty());
}

TEST(FileResampler, ALengthBeyondReckoningIsNone) {
  auto source = std::make_unique<MemoryReader>(PCMFormat{8000, 1}, std::vector<float>(10));
  source->claim(std::numeric_limits<std::int64_t>::max() / 2);
  const auto reader = resampled(std::move(source), {48000, 1});
  EXPECT_EQ(reader->frameCount(), -1);
  EXPECT_TRUE(reader->seek(std::numeric_limits<std::int64_t>::max()));
}

}  // namespace
}  // namespace sonmere
