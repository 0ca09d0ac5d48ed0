#include <gtest/gtest.h>

#include <cstring>

#include "audio/file/AudioFileReader.h"
#include "base/FlushToZero.h"
#include "dsp/Limiter.h"
#include "scenarios/RecordingWorld.h"
#include "support/RealtimeGuard.h"
#include "support/ReferenceDSP.h"

namespace sonmere {
namespace {

constexpr std::size_t kBlock = 512;
constexpr double kSeconds = 14;  // beyond the end of both files
const std::string kDemo = std::string(SONMERE_SOURCE_DIR) + "/resources/demo/";

std::vector<float> readAll(const std::string& path) {
  auto reader = openAudioFile(path);
  if (!reader) {
    ADD_FAILURE() << reader.error().description;
    return {};
  }
  EXPECT_EQ((*reader)->format(), (PCMFormat{48000, 2}));
  std::vector<float> all, block(2 * 4096);
  while (const auto frames = (*reader)->read(block.data(), 4096).value_or(0))
    all.insert(all.end(), block.begin(), block.begin() + std::ptrdiff_t(2 * frames));
  return all;
}

std::size_t firstSound(const std::vector<float>& samples) {
  return std::size_t(std::ranges::find_if(samples, [](float v) { return v != 0; }) - samples.begin()) / 2;
}

const AppEQSettings kAppEQ{
    .isEnabled = true, .highPassFreq = 100, .paraFreq = 1200, .paraGain = 9, .paraQ = 1.5};
const AppEQSettings kMasterEQ{.isEnabled = true, .lowPassFreq = 12000, .paraFreq = 250, .paraGain = -3};

// The whole Track once more, from the same files, with nothing but loops.
std::vector<float> referenceMix(std::vector<float> boosted, std::vector<float> plain, std::size_t frames) {
  const FlushToZero asOnAnAudioThread;
  boosted.resize(2 * frames);
  plain.resize(2 * frames);
  std::vector<float> mix(2 * frames);
  reference::EqualiserState appState, masterState;
  float appGain = 1, masterGain = 1;
  const float attack = kLimiterRates48k.attack, release = kLimiterRates48k.release;
  for (std::size_t at = 0; at < frames; at += kBlock) {
    float* first = boosted.data() + 2 * at;
    float* out = mix.data() + 2 * at;
    reference::equalise(coefficients48k(kAppEQ), appState, first, kBlock);
    for (std::size_t i = 0; i < 2 * kBlock; ++i) first[i] *= 2.0f;
    appGain = reference::limit(first, kBlock, 1.0f, appGain, attack, release);
    for (std::size_t i = 0; i < 2 * kBlock; ++i) out[i] = (0.0f + first[i] * 1.0f) + plain[2 * at + i] * 0.7f;
    reference::equalise(coefficients48k(kMasterEQ), masterState, out, kBlock);
    if (reference::peakOf(out, 2 * kBlock) == 0) continue;  // the gain of 1 stays
    masterGain = reference::limit(out, kBlock, limiterCeiling(-3), masterGain, attack, release);
  }
  return mix;
}

// Two programs play files onto one Track, one boosted and equalised, both through the master chain: the
// recording holds exactly what the reference makes of the files. Every callback runs under the guard.
TEST(RecordedMix, EqualsAReferenceMixOfTheSameFilesBitForBit) {
  RecordingWorld world;
  auto melody = world.launch("melody"), beat = world.launch("beat");
  world.startAll();
  world.settle();
  world.engine->setVolume("melody", 2.0f);
  world.engine->setVolume("beat", 0.7f);
  world.engine->effects().setAppEqualiser("melody", kAppEQ, SettingForm::final);
  world.engine->effects().setMasterEqualiser(2, kMasterEQ, SettingForm::final);
  world.engine->effects().setMasterLimiter(2, {true, -3}, SettingForm::final);
  for (const char* app : {"melody", "beat"}) {
    world.engine->setBus(app, 2);
    ASSERT_TRUE(world.engine->setRouted(app, true)) << world.error();
  }
  RealtimeGuard guard;
  world.wait(1);
  world.recordings->startRecording(2);
  melody.play(std::move(*SampleSources::file(kDemo + "melody.flac")));
  beat.play(std::move(*SampleSources::file(kDemo + "beat.flac")));
  world.wait(kSeconds);
  const auto paths = world.stopRecordings();
  EXPECT_REALTIME_SAFE(guard);

  ASSERT_EQ(paths.size(), 1u);
  const auto recorded = readAll(paths[0]);
  const std::size_t frames = recorded.size() / 2;
  ASSERT_NEAR(double(frames), kSeconds * 48000, 2 * kBlock);
  auto expected = referenceMix(readAll(kDemo + "melody.flac"), readAll(kDemo + "beat.flac"),
                               (frames / kBlock + 1) * kBlock);
  const std::size_t lead = firstSound(recorded) - firstSound(expected);
  ASSERT_EQ(lead % kBlock, 0u);
  ASSERT_LT(lead, 10 * kBlock);
  const std::size_t compared = frames - lead;
  for (std::size_t i = 0; i < 2 * compared; ++i)
    ASSERT_EQ(std::memcmp(&recorded[2 * lead + i], &expected[i], 4), 0)
        << "frame " << i / 2 << " of " << compared;
  EXPECT_GT(reference::peakOf(recorded.data(), recorded.size()), 0.5f);
}

}  // namespace
}  // namespace sonmere
