#include <cstring>
#include <limits>
#include <numbers>

#include "AudioFiles.h"
#include "base/VirtualRuntime.h"
#include "dsp/kernels/PeakKernels.h"
#include "editor/track/BlockReader.h"
#include "editor/track/PlainWav.h"
#include "editor/waveform/PixelText.h"
#include "editor/waveform/WaveformPNG.h"
#include "editor/waveform/WaveformPeakAnalyzer.h"
#include "editor/waveform/WaveformSVG.h"
#include "editor/waveform/WaveformSamples.h"
#include "editor/waveform/WaveformView.h"

namespace sonmere {
namespace {

class WaveformTest : public testing::Test {
 protected:
  WaveformTest() {
    log.addSink([this](LogLevel, const std::string& line) { lines.push_back(line); });
  }
  std::string path(const std::string& name) const { return (folder / name).string(); }
  std::string wav(int encoding, int channels, const std::vector<float>& samples, int rate = 48000) {
    return makeAudioFile(path("take.wav"), SF_FORMAT_WAV | encoding, rate, channels, samples);
  }
  WaveformEnvelope analyze(const std::string& url) {
    auto envelope = WaveformPeakAnalyzer(log).analyze(url);
    EXPECT_TRUE(envelope) << (lines.empty() ? "" : lines.back());
    return envelope ? std::move(*envelope) : WaveformEnvelope{};
  }

  TemporaryFolder folder;
  Log log;
  std::vector<std::string> lines;
};

TEST_F(WaveformTest, BinsGetLongerWithTheFile) {
  const auto bin = [](double seconds, double rate) {
    return WaveformPeakAnalyzer::binFrames(std::llround(seconds * rate), rate);
  };
  EXPECT_EQ(bin(59.9, 48000), 10);
  EXPECT_EQ(bin(60, 48000), 24);
  EXPECT_EQ(bin(599.9, 48000), 24);
  EXPECT_EQ(bin(600, 48000), 48);
  EXPECT_EQ(bin(1, 8000), 2);
  EXPECT_EQ(bin(600, 400), 1) << "never none";
  EXPECT_EQ(bin(1, 12500), 3) << "a half rounds away from zero";
}

TEST_F(WaveformTest, APeakIsTheSampleFarthestFromZeroWithItsSign) {
  std::vector<float> samples(25, 0.0f);
  std::fill_n(samples.begin(), 10, -0.5f);
  samples[13] = 0.75f;
  samples[14] = -0.75f;
  samples[20] = 0.25f;
  samples[24] = -0.5f;
  const WaveformEnvelope envelope = analyze(wav(SF_FORMAT_FLOAT, 1, samples));
  const auto summary = WaveformPeakSummary::of("take", envelope);
  EXPECT_EQ(summary.channels, (std::vector<LargeVector<float>>{{-0.5f, 0.75f, -0.5f}}));
  EXPECT_EQ(envelope.channels[0],
            (LargeVector<WaveformBin>{{-0.5f, -0.5f}, {-0.75f, 0.75f}, {-0.5f, 0.25f}}));
  EXPECT_EQ(summary.totalFrames, 25);
  EXPECT_EQ(summary.sampleRate, 48000);
  EXPECT_EQ(extremes(envelope, 0, 12, 20), (WaveformBin{-0.75f, 0.75f}));
  EXPECT_EQ(analyze(wav(SF_FORMAT_FLOAT, 1, std::vector<float>(20))).channels[0].size(), 2u);
  EXPECT_EQ(analyze(wav(SF_FORMAT_FLOAT, 1, std::vector<float>(21))).channels[0].size(), 3u);
}

// The same samples as WAV, whose extremes are found in the file's own integers, and as AIFF, which goes by
// way of the file readers.
TEST_F(WaveformTest, PlainFilesGiveTheSamePeaksAsDecodedOnes) {
  for (const int encoding : {SF_FORMAT_PCM_16, SF_FORMAT_PCM_24, SF_FORMAT_FLOAT})
    for (int channels = 1; channels <= 8; ++channels)
      for (const std::size_t frames : {1u, 7u, 10u, 319u, 320u, 6401u, 70007u}) {
        const auto samples = noise(frames * std::size_t(channels), unsigned(frames) + unsigned(channels));
        const WaveformEnvelope plain = analyze(wav(encoding, channels, samples));
        const WaveformEnvelope decoded =
            analyze(makeAudioFile(path("take.aiff"), SF_FORMAT_AIFF | encoding, 48000, channels, samples));
        ASSERT_EQ(plain.channels, decoded.channels) << encoding << " " << channels << " " << frames;
      }
  EXPECT_TRUE(lines.empty());
}

TEST_F(WaveformTest, AllInstructionSetsFindTheSameExtremes) {
  std::mt19937 random(5);
  for (const PeakKernels* kernels : availablePeakKernels())
    for (const std::size_t channels : {1u, 2u, 3u})
      for (const std::size_t frames : {1u, 2u, 7u, 8u, 10u, 24u, 31u, 33u, 48u})
        for (const auto find : {&PeakKernels::int16, &PeakKernels::int24, &PeakKernels::float32}) {
          constexpr std::size_t kBins = 9;
          std::vector<std::uint8_t> bytes(kBins * frames * channels * 4 + kPeakSlackBytes);
          for (std::uint8_t& byte : bytes) byte = std::uint8_t(random());
          if (find == &PeakKernels::float32)
            for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4) {
              const float values[] = {-0.0f,
                                      std::numeric_limits<float>::quiet_NaN(),
                                      -std::numeric_limits<float>::infinity(),
                                      0.25f,
                                      -0.75f,
                                      1e-40f};
              std::memcpy(&bytes[i], &values[random() % 6], 4);
            }
          const auto run = [&](const PeakKernels& target) {
            std::vector<float> pairs(channels * 2 * kBins), peaks(channels * kBins);
            std::vector<float*> planes;
            for (std::size_t i = 0; i < channels; ++i) planes.push_back(&pairs[i * 2 * kBins]);
            (target.*find)(bytes.data(), channels, frames, kBins, planes.data());
            target.signedPeaks(pairs.data(), channels * kBins, peaks.data());
            pairs.insert(pairs.end(), peaks.begin(), peaks.end());
            return pairs;
          };
          const auto found = run(*kernels), expected = run(*availablePeakKernels().back());
          ASSERT_EQ(std::memcmp(found.data(), expected.data(), found.size() * sizeof(float)), 0)
              << kernels->target << " " << channels << " × " << frames;
        }
}

// A header that was damaged is either read as the library reads it, or left to the library.
TEST_F(WaveformTest, DamagedHeadersNeverMakePlainAndDecodedFilesDiffer) {
  const std::string good = bytesIn(wav(SF_FORMAT_PCM_16, 2, noise(2000)));
  std::mt19937 random(7);
  int plainOnes = 0;
  for (int round = 0; round < 400; ++round) {
    std::string bytes = good;
    for (int i = 0; i < 2; ++i) bytes[4 + random() % 60] = char(random() % 4 ? random() % 8 : random());
    std::ofstream(path("bad.wav"), std::ios::binary) << bytes;
    const auto reader = openAudioFile(path("bad.wav"));
    const auto plain = reader ? PlainWav::open(path("bad.wav"), **reader) : std::nullopt;
    if (!plain) continue;
    ++plainOnes;
    std::vector<float> samples(std::size_t(plain->frames) * plain->format.channels);
    std::size_t filled = 0;
    while (filled < samples.size()) {
      const auto count = (*reader)->read(&samples[filled], std::uint32_t(plain->frames));
      if (!count || *count == 0) break;
      filled += *count * plain->format.channels;
    }
    const auto block = BlockReader::open(path("bad.wav"));
    PCMBuffer buffer(plain->format, std::uint32_t(plain->frames));
    ASSERT_TRUE((*block)->read(buffer, buffer.frameCapacity()));
    for (std::size_t i = 0; i < samples.size(); ++i)
      ASSERT_EQ(buffer.channel(std::uint32_t(i) % plain->format.channels)[i / plain->format.channels],
                samples[i])
          << round;
  }
  EXPECT_GT(plainOnes, 20);
}

TEST_F(WaveformTest, WhatCannotBeReadIsLoggedAndADamagedTailKeepsTheRest) {
  EXPECT_FALSE(WaveformPeakAnalyzer(log).analyze(path("none.wav")));
  EXPECT_EQ(lines, std::vector{"WaveformPeakAnalyzer: open failed — " + path("none.wav") + ": no such file"});
  lines.clear();

  // A header that tells of a day takes no memory for a day.
  const std::string liar =
      makeAudioFile(path("liar.flac"), SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 48000, 2, noise(2 * 1000));
  std::string lie = bytesIn(liar);
  lie.replace(22, 4, 4, '\xFF');  // the lower part of its count of frames
  std::ofstream(liar, std::ios::binary) << lie;
  EXPECT_FALSE(WaveformPeakAnalyzer(log).analyze(liar));
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_TRUE(lines[0].ends_with("frames, more than it can hold")) << lines[0];
  lines.clear();

  const auto samples = noise(2 * 96000);
  const std::string url =
      makeAudioFile(path("take.flac"), SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 48000, 2, samples);
  const WaveformEnvelope whole = analyze(url);
  std::string bytes = bytesIn(url);
  std::mt19937 random(3);
  for (std::size_t i = bytes.size() / 2; i < bytes.size(); ++i) bytes[i] = char(random());
  std::ofstream(url, std::ios::binary) << bytes;
  const WaveformEnvelope damaged = analyze(url);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_TRUE(lines[0].starts_with("WaveformPeakAnalyzer: read failed at ")) << lines[0];
  ASSERT_EQ(damaged.channels[0].size(), whole.channels[0].size());
  const auto& a = damaged.channels[1];
  const auto& b = whole.channels[1];
  EXPECT_TRUE(std::equal(a.begin(), a.begin() + std::ptrdiff_t(a.size() / 3), b.begin()));
  EXPECT_EQ(a.back(), WaveformBin());
}

TEST_F(WaveformTest, ANewFileEndsTheLoadingOfTheOldOne) {
  VirtualRuntime runtime(1);
  const std::string first =
      makeAudioFile(path("a.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 48000, 1, noise(500));
  const std::string second =
      makeAudioFile(path("b.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 48000, 1, noise(1000));
  std::vector<std::int64_t> ready;
  WaveformView view(runtime, log);
  view.onEnvelopeReady = [&](const WaveformEnvelope& envelope) { ready.push_back(envelope.totalFrames); };
  view.setURL(path("none.wav"));
  view.setURL(first);
  view.setURL(second);
  EXPECT_TRUE(view.isLoading());
  runtime.settle();
  EXPECT_FALSE(view.isLoading());
  EXPECT_TRUE(lines.empty()) << "what was cancelled reports nothing: " << lines.front();
  EXPECT_EQ(ready, std::vector<std::int64_t>{1000});
  EXPECT_EQ(view.channelBuffers()[0].size(), 100u);
  view.setView(15, 31);
  ASSERT_EQ(view.channelBuffers()[0].size(), 3u) << "bins 1 to 3";
  EXPECT_EQ(view.channelBuffers()[0][0], view.summary()->channels[0][1]);

  {
    WaveformView gone(runtime, log);
    gone.setURL(first);
  }
  view.setURL(path("none.wav"));
  runtime.settle();
  EXPECT_FALSE(view.summary());
  EXPECT_FALSE(view.isLoading());
}

// A single sample stands out where the part is shown with a pixel for each, and its level in decibels.
TEST_F(WaveformTest, NearEnoughTheSamplesThemselvesAreDrawn) {
  std::vector<float> samples(48000);
  samples[30005] = 0.1f;
  const std::string file = wav(SF_FORMAT_FLOAT, 1, samples);
  TrimRange part = TrimRange::whole(48000, 48000);
  part.startFrame = 30000;
  part.endFrame = 30020;
  const auto near = waveformSamples(file, part);
  ASSERT_TRUE(near) << near.error().description;
  const auto layout = layOut(*near, 30000, 30020, 2 * 8 + 40, 100, WaveformLayout::Scale::decibels);
  ASSERT_TRUE(layout) << layout.error().description;
  for (std::size_t x = 0; x < 40; ++x)
    EXPECT_EQ(layout->columns[0][x].maxValue, x / 2 == 5 ? 0.1f : 0.0f) << x;
  const auto& lane = layout->lanes[0];
  EXPECT_NEAR(lane.y(0.1f), lane.centre() - lane.height / 2.0 * 40 / 60, 1e-3) << "-20 dB of 60";
  EXPECT_EQ(lane.y(0), lane.centre());
  EXPECT_EQ(lane.y(-0.0001f), lane.centre()) << "below the floor";
  EXPECT_EQ(lane.y(-1), lane.top + lane.height);
  EXPECT_EQ(layout->levelsIn(lane).at(0).label, "-6");
  EXPECT_NE(*waveformPNG(*layout), *waveformPNG(*layout, WaveformColours::light()));
}

TEST_F(WaveformTest, PicturesShowWhatIsInTheFileAndOtherProgramsOpenThem) {
  // Left: full scale in the first half, then silence. Right: a constant.
  std::vector<float> samples(2 * 48000);
  for (std::size_t i = 0; i < 48000; ++i) {
    samples[2 * i] = i < 24000 ? (i % 2 ? 0.9f : -0.9f) : 0;
    samples[2 * i + 1] = 0.5f;
  }
  const WaveformEnvelope envelope = analyze(wav(SF_FORMAT_FLOAT, 2, samples));
  const auto layout = layOut(envelope, 0, 48000, 416, 200);
  ASSERT_TRUE(layout) << layout.error().description;
  const auto png = waveformPNG(*layout);
  ASSERT_TRUE(png);
  EXPECT_EQ(*png, *waveformPNG(*layOut(envelope, 0, 48000, 416, 200)));
  std::ofstream(path("w.png"), std::ios::binary) << *png;
  const std::string pixels =
      outputOf("ffmpeg -v error -i " + path("w.png") + " -f rawvideo -pix_fmt rgb24 -");
  ASSERT_EQ(pixels.size(), 416u * 200 * 3);
  const auto isWave = [&](int x, double y) {
    const std::size_t at = (std::size_t(y) * 416 + std::size_t(x)) * 3;
    return std::uint8_t(pixels[at]) == 0x4F && std::uint8_t(pixels[at + 1]) == 0xC3;
  };
  const auto& [left, right] = std::tie(layout->lanes[0], layout->lanes[1]);
  EXPECT_TRUE(isWave(100, left.y(0.85f)));
  EXPECT_TRUE(isWave(100, left.y(-0.85f)));
  EXPECT_FALSE(isWave(100, left.y(0.95f)));
  EXPECT_FALSE(isWave(300, left.y(0.1f)));
  EXPECT_TRUE(isWave(300, right.y(0.45f)));
  EXPECT_FALSE(isWave(300, right.y(-0.1f)));

  const std::string svg = waveformSVG(*layout);
  std::ofstream(path("w.svg")) << svg;
  outputOf("python3 -c \"import xml.dom.minidom as m; m.parse('" + path("w.svg") + "')\"");
  EXPECT_NE(svg.find(">0:00.5</text>"), std::string::npos) << "the axis says where half a second is";
  EXPECT_EQ(svg.find("clipped"), std::string::npos);

  // The largest sample of 16 bits is a bit below 1.
  const WaveformEnvelope clipped = analyze(wav(SF_FORMAT_PCM_16, 1, std::vector<float>(1000, 1.0f)));
  EXPECT_NE(waveformSVG(*layOut(clipped, 0, 1000, 64, 64)).find("clipped"), std::string::npos);

  const auto hour = [](double from) {
    WaveformEnvelope silence{{LargeVector<WaveformBin>(4000000, {0, 0})}, 48000, 4000000LL * 48, 48};
    return layOut(silence, std::int64_t(from * 48000), std::int64_t((from + 10) * 48000), 800, 100)->ticks;
  };
  EXPECT_EQ(hour(3599.5).at(0).label, "1:00:00");
  EXPECT_FALSE(layOut(envelope, 100, 100, 400, 200));
  EXPECT_FALSE(layOut(envelope, 0, 48000, 400, 10));
}

// A sine's RMS is known: half of its square. In the file's own integers, and by way of the readers.
TEST_F(WaveformTest, TheBodyOfAWaveIsItsRMS) {
  std::vector<float> samples(2 * 48000);
  for (std::size_t i = 0; i < 48000; ++i) {
    samples[2 * i] = i < 24000 ? 0.8f * std::sin(float(i) * 0.1f) : 0;
    samples[2 * i + 1] = i % 4 == 0 ? 0.8f : 0;
  }
  const auto withLevels = [&](const std::string& url) {
    return *WaveformPeakAnalyzer(log).analyze(url, nullptr, {},
                                              WaveformPeakAnalyzer::Detail::extremesAndLevels);
  };
  for (const int encoding : {SF_FORMAT_PCM_16, SF_FORMAT_PCM_24, SF_FORMAT_FLOAT})
    for (const int container : {SF_FORMAT_WAV, SF_FORMAT_AIFF}) {
      const auto envelope = withLevels(makeAudioFile(path("sine"), container | encoding, 48000, 2, samples));
      EXPECT_NEAR(level(envelope, 0, 0, 24000), 0.8 / std::numbers::sqrt2, 0.001) << encoding;
      EXPECT_EQ(level(envelope, 0, 24000, 48000), 0);
      EXPECT_NEAR(level(envelope, 1, 0, 48000), 0.4, 0.001);
    }
  EXPECT_TRUE(analyze(path("sine")).levels.empty()) << "not asked for";

  const auto layout = layOut(withLevels(path("sine")), 0, 48000, 416, 200);
  ASSERT_TRUE(layout);
  std::ofstream(path("w.png"), std::ios::binary) << *waveformPNG(*layout);
  const std::string pixels =
      outputOf("ffmpeg -v error -i " + path("w.png") + " -f rawvideo -pix_fmt rgb24 -");
  const auto redAt = [&](int x, double y) {
    return std::uint8_t(pixels[(std::size_t(y) * 416 + std::size_t(x)) * 3]);
  };
  const auto& [left, right] = std::tie(layout->lanes[0], layout->lanes[1]);
  for (const float side : {1.0f, -1.0f}) {
    EXPECT_EQ(redAt(100, left.y(side * 0.5f)), 0xA9) << "body";
    EXPECT_EQ(redAt(100, left.y(side * 0.7f)), 0x4F) << "wave";
  }
  EXPECT_EQ(redAt(100, right.y(0.35f)), 0xA9);
  EXPECT_EQ(redAt(100, right.y(-0.35f)), 0x18) << "a body is never beyond its wave";
  EXPECT_NE(waveformSVG(*layout).find("class=\"body\""), std::string::npos);
}

TEST_F(WaveformTest, APictureHasANameWhereThereIsRoom) {
  const WaveformEnvelope envelope = analyze(wav(SF_FORMAT_FLOAT, 1, std::vector<float>(4800, 0.5f)));
  const auto titled = [&](const std::string& title, int height) {
    return *layOut(envelope, 0, 4800, 416, height, WaveformLayout::Scale::linear, title);
  };
  const std::string name = "Stück <1> & \u2014 2.wav";
  EXPECT_NE(waveformSVG(titled(name, 200)).find(">Stück &lt;1&gt; &amp; \u2014 2.wav</text>"),
            std::string::npos);
  EXPECT_NE(*waveformPNG(titled("a", 200)), *waveformPNG(titled("b", 200)));
  EXPECT_GT(titled("a", 200).lanes[0].top, titled("", 200).lanes[0].top);
  EXPECT_EQ(*waveformPNG(titled("a", 60)), *waveformPNG(titled("", 60))) << "no room";
  EXPECT_EQ(pixelTextWidth("0:05"), 3 * 6 + 3) << "digits are of one width, a colon is narrow";
  EXPECT_EQ(pixelTextWidth("\u00e4\u2014a"), 3 * 6) << "characters, not bytes";
  const std::string longName(300, 'x');
  const std::string shown = titled(longName, 200).shownTitle;
  EXPECT_TRUE(shown.ends_with("xxx...") && shown.size() * 6 <= 400) << shown;
  EXPECT_EQ(titled("a\nb\x1b", 200).shownTitle.find('\n'), std::string::npos);
}

}  // namespace
}  // namespace sonmere
