// The program on a private session in each of the modes that touch the whole system: what real players play
// is heard where it should be, once, and a killed program leaves nothing of it behind.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <numbers>

#include "ProgramWorld.h"

namespace sonmere {

namespace {

constexpr int kRate = 48000;
constexpr float kLevel = 0.25f;
// Whole cycles in a second, so that each is measured beside the others.
constexpr std::array kFrequencies{500, 900, 1300};
using Levels = std::array<double, kFrequencies.size()>;

KnownSignal tone(int frequency, double seconds) {
  KnownSignal signal(seconds);
  for (std::size_t i = 0; i < signal.samples.size(); ++i)
    signal.samples[i] =
        kLevel * float(std::sin(2 * std::numbers::pi * frequency * double((i / 2) % kRate) / kRate));
  return signal;
}

// Whole cycles of each tone too.
constexpr std::size_t kWindow = kRate / 10;

double levelAt(int frequency, const float* samples) {
  double re = 0, im = 0;
  for (std::size_t i = 0; i < kWindow; ++i) {
    const double angle = 2 * std::numbers::pi * frequency * double(i) / kRate;
    re += double(samples[2 * i]) * std::cos(angle);
    im += double(samples[2 * i]) * std::sin(angle);
  }
  return std::hypot(re, im) * 2 / double(kWindow);
}

// Of each tone in the left channel, as it is in most of the capture: a busy machine drops a block now and
// then.
Levels levelsOf(const std::vector<float>& capture) {
  Levels levels{};
  for (std::size_t each = 0; each < levels.size(); ++each) {
    std::vector<double> all;
    for (std::size_t from = 0; from + 2 * kWindow <= capture.size(); from += 2 * kWindow)
      all.push_back(levelAt(kFrequencies[each], &capture[from]));
    std::ranges::sort(all);
    if (!all.empty()) levels[each] = all[all.size() / 2];
  }
  return levels;
}

struct SystemStory : testing::Test {
  void SetUp() override {
    ASSERT_EQ(world.session.problem(), "");
    ASSERT_TRUE(world.platform.waitUntilReady(PipeWireWorld::kPatience));
    for (const int frequency : kFrequencies) tone(frequency, 90).write(fileOf(frequency));
  }
  std::string fileOf(int frequency) const {
    return world.session.file("tone" + std::to_string(frequency) + ".wav");
  }
  void start() {
    world.program = world.session.launch(world.command({"run", "--platform", "pipewire", "--for", "200"}));
    ASSERT_TRUE(world.until([&] { return sonmere({"devices"}).contains("fake.speaker"); }))
        << world.session.programLog();
  }
  std::string sonmere(const std::vector<std::string>& arguments) {
    return world.session.run(world.command(arguments));
  }
  // Commands that must not be refused.
  void tell(const std::vector<std::vector<std::string>>& commands) {
    for (const auto& words : commands) {
      const std::string answer = sonmere(words);
      EXPECT_FALSE(answer.starts_with("sonmere " + words[0] + ": ")) << answer;
    }
  }
  std::string defaultUID() {
    const auto device = world.hardware().defaultDevice(DefaultDevice::output);
    return device ? world.hardware().deviceUID(*device).value_or("") : "";
  }
  // Until a program that records it has each tone at its level, by 3 %: sound that comes twice is louder,
  // softer or combed.
  bool isHeard(const char* device, bool isPlayed, const Levels& wanted) {
    Levels heard{};
    const bool isSo = world.until([&] {
      heard = hear(device, isPlayed);
      for (std::size_t each = 0; each < heard.size(); ++each)
        if (std::abs(heard[each] - wanted[each]) > 0.03 * kLevel) return false;
      return true;
    });
    std::printf("%s: %.3f %.3f %.3f\n", device, heard[0], heard[1], heard[2]);
    return isSo;
  }
  Levels hear(const char* device, bool isPlayed) {
    const std::string file = world.session.file("heard" + std::to_string(++takes_) + ".wav");
    std::vector<std::string> words{"pw-record", "--target", device, "--format", "f32", file};
    if (isPlayed) words.insert(words.begin() + 3, {"-P", "{ stream.capture.sink=true }"});
    auto ear = world.session.launch(words);
    constexpr std::uintmax_t kSecondAndAHalf = 3 * kRate * sizeof(float);
    std::error_code error;
    if (!world.until([&] {
          const auto size = std::filesystem::file_size(file, error);
          return !error && size > kSecondAndAHalf;
        }))
      return {};
    return levelsOf(readSamples(file));
  }

  ProgramWorld world;

 private:
  int takes_ = 0;
};

}  // namespace

// One app is routed, one is mixed, and one is left to be caught.
TEST_F(SystemStory, InMixModeEachProgramIsHeardOnceAtItsLevelAndAfterwardsAsBefore) {
  start();
  tell({{"mixer", "on"}, {"monitor", "device", "fake.speaker"}, {"monitor", "on"}});
  const auto play = [&](std::vector<std::string> command, int frequency) {
    command.push_back(fileOf(frequency));
    return world.session.launch(command);
  };
  auto routed = play({"pw-play"}, kFrequencies[0]);
  auto mixed = play({"mpv", "--no-config", "--no-video", "--really-quiet", "--ao=pulse"}, kFrequencies[1]);
  auto caught = play({"paplay"}, kFrequencies[2]);
  for (const char* app : {"pw-play", "mpv", "paplay"})
    ASSERT_TRUE(world.until([&] { return sonmere({"apps"}).contains(app); })) << app;
  tell({{"volume", "mpv", "40%"},
        {"direct", "paplay", "on"},
        {"route", "pw-play", "bridge"},
        {"mix", "stream", "pw-play", "50%"}});
  const Levels onBridge{0.5 * kLevel, 0, 0}, before{kLevel, 0.4 * kLevel, kLevel};
  EXPECT_TRUE(isHeard("fake.speaker", true, before)) << sonmere({"apps"}) << world.told();
  EXPECT_TRUE(isHeard("ToneFerry_UID", false, onBridge));

  for (const auto& words : std::vector<std::vector<std::string>>{{"mix", "link", "pw-play", "off"},
                                                                 {"mix", "hear", "pw-play", "80%"},
                                                                 {"mix", "catch-all", "50%"},
                                                                 {"mix", "catch-all", "on"},
                                                                 {"mix", "on"}})
    sonmere(words);
  EXPECT_TRUE(isHeard("fake.speaker", true, {0.8 * kLevel, 0.4 * kLevel, 0.5 * kLevel}))
      << sonmere({"mix", "status"}) << world.told();
  EXPECT_TRUE(isHeard("ToneFerry_UID", false, onBridge));

  tell({{"mix", "off"}});
  EXPECT_TRUE(isHeard("fake.speaker", true, before)) << world.told();
  EXPECT_TRUE(isHeard("ToneFerry_UID", false, onBridge));
}

// SONMERE_KILLS says how often in each mode.
TEST_F(SystemStory, AKilledProgramLeavesTheUsersOutputAndItsAppsInEveryMode) {
  struct Mode {
    const char* name;
    std::vector<std::vector<std::string>> commands;
    std::function<bool()> isOn;
  };
  const auto isCaptured = [&] { return world.outputsOf("pw-play").empty(); };
  const std::vector<Mode> modes{
      {"system audio", {{"system", "on"}}, [&] { return defaultUID().starts_with("ToneFerry_MultiOut"); }},
      {"Mix Mode", {{"mix", "catch-all", "on"}, {"mix", "on"}}, isCaptured},
      {"multi-track device", {{"daw", "on"}}, [&] { return world.device("Sonmere_DAWMultiTrack_v1") != 0; }},
      {"monitor", {{"route", "pw-play", "track1"}, {"monitor", "app", "pw-play", "on"}}, isCaptured},
  };
  const char* chosen = std::getenv("SONMERE_KILLS");
  const int rounds = chosen ? std::atoi(chosen) : 1;
  for (const Mode& mode : modes) {
    Duration longest{0};
    for (int round = 0; round < rounds; ++round) {
      SCOPED_TRACE(std::string(mode.name) + ", round " + std::to_string(round));
      std::filesystem::remove(world.session.file("settings.json"));
      world.player = world.session.launch({"pw-play", fileOf(kFrequencies[0])});
      ASSERT_TRUE(world.until([&] { return world.isHome(); }));
      start();
      for (const auto& words : mode.commands) sonmere(words);
      ASSERT_TRUE(world.until(mode.isOn)) << sonmere({"status"}) << world.told();
      const Duration killed = world.runtime.uptime();
      world.program.signal(SIGKILL);
      world.program.wait();
      EXPECT_TRUE(world.until([&] { return defaultUID() == "fake.speaker" && world.isHome(); }))
          << defaultUID() << world.told();
      longest = std::max(longest, world.runtime.uptime() - killed);
      EXPECT_TRUE(world.until([&] {
        const std::string nodes = world.session.run({"pw-dump"});
        return !nodes.contains("sonmere.part") && !nodes.contains("Sonmere_DAW") &&
               !nodes.contains("ToneFerry_MultiOut\"") && !world.hasLeftTargets();
      })) << world.told();
      EXPECT_TRUE(isHeard("fake.speaker", true, {kLevel, 0, 0}));
      world.player.end();
    }
    std::printf("%s: as it was %.2f s after the kill, at the latest of %d\n", mode.name, toSeconds(longest),
                rounds);
  }
}

}  // namespace sonmere
