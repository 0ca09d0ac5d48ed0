#include "editor/export/ParallelLoudness.h"

#include <gtest/gtest.h>

#include <cmath>

#include "AudioFiles.h"
#include "base/LiveRuntime.h"
#include "base/VirtualRuntime.h"
#include "editor/export/ExportProgress.h"
#include "editor/export/LoudnessMeter.h"
#include "editor/track/TrackReader.h"

namespace sonmere {
namespace {

// Noise on a slow wave, whose level jumps every few seconds and falls silent now and then.
std::vector<float> piece(double seconds, int rate, int channels) {
  auto samples = noise(std::size_t(seconds * rate) * std::size_t(channels), 7, 0.5f);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const double second = double(i / std::size_t(channels)) / rate;
    const int part = int(second / 1.7) % 5;
    const double level = part == 4 ? 0 : std::pow(0.4, part);
    samples[i] = float(level * (0.5 * samples[i] + 0.3 * std::sin(second * 2 * 3.14159 * 30)));
  }
  return samples;
}

class ParallelLoudnessTest : public testing::Test {
 protected:
  TemporaryFolder folder;
  VirtualRuntime runtime{3};
  ExportProgress progress{runtime};
};

TEST_F(ParallelLoudnessTest, PiecesGiveWhatOneGoGives) {
  struct Case {
    double seconds;
    int rate, channels;
  };
  for (const auto& [seconds, rate, channels] :
       {Case{31.73, 44100, 2}, Case{40, 48000, 1}, Case{26.05, 22050, 2}, Case{3, 48000, 2}}) {
    SCOPED_TRACE(rate);
    const std::string path = makeAudioFile(folder / "a.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, rate, channels,
                                           piece(seconds, rate, channels));
    const MixTrackInput input = wholeFile(path).value();
    const auto expected = measureLoudness(**TrackReader::open(input), progress).value();
    for (const unsigned pieces : {1u, 2u, 3u, 5u, 16u}) {
      SCOPED_TRACE(pieces);
      const auto found = measureFileLoudness(runtime, input, progress, pieces);
      ASSERT_TRUE(found) << found.error().description;
      EXPECT_NEAR(found->integratedLUFS, expected.integratedLUFS, 0.01);
      EXPECT_NEAR(found->rangeLU, expected.rangeLU, 0.01);
      EXPECT_NEAR(found->truePeakDb, expected.truePeakDb, 0.01);
      EXPECT_EQ(found->samplePeakDb, expected.samplePeakDb);
      EXPECT_EQ(progress.fraction(), 1);
    }
  }
}

TEST_F(ParallelLoudnessTest, RunsOnThreadsAndEndsWhenItIsCancelledOrAPieceFails) {
  LiveRuntime live;
  const std::string path =
      makeAudioFile(folder / "a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 8000, 2, piece(60, 8000, 2));
  MixTrackInput input = wholeFile(path).value();
  EXPECT_TRUE(measureFileLoudness(live, input, progress, 4));
  ExportProgress cancelled{live};
  input.url = (folder / "none.wav").string();
  EXPECT_FALSE(measureFileLoudness(live, input, progress, 4));
  input.url = path;
  cancelled.cancel();
  EXPECT_FALSE(measureFileLoudness(live, input, cancelled, 4));
}

}  // namespace
}  // namespace sonmere
