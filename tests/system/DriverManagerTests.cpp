#include <gtest/gtest.h>

#include "audio/device/CoreAudioUtils.h"
#include "base/VirtualRuntime.h"
#include "driver/DriverManager.h"
#include "platform/simulated/SimulatedHost.h"
#include "platform/simulated/SimulatedPlatform.h"

namespace sonmere {
namespace {

constexpr const char* kRateKey = "sonmere.bridgeSampleRate";

struct PlainInstaller final : DriverInstaller {
  DriverOnDisk look() const override { return disk; }
  Outcome<DriverChange> install() override { return DriverChange(); }
  Outcome<DriverChange> remove() override { return DriverChange(); }
  DriverOnDisk disk;
};

struct DriverManagerTest : testing::Test {
  DriverManagerTest() {
    host.plugStandardMachine();
    log.addSink([this](LogLevel, const std::string& line) { lines.push_back(line); });
  }
  void advance(double seconds) { runtime.advance(fromSeconds(seconds)); }
  AudioDeviceID bus(int index) { return *CoreAudioUtils::deviceForBus(platform.hardware(), index); }
  double rate(int index) { return *CoreAudioUtils::nominalRate(platform.hardware(), bus(index)); }
  void set(int index, double rate) { platform.hardware().setNominalSampleRate(bus(index), rate); }
  bool hasLine(const std::string& part) const {
    return std::ranges::any_of(lines, [&](const std::string& line) { return line.contains(part); });
  }

  VirtualRuntime runtime{1};
  Log log;
  MemorySettingsStore settings;
  NotificationCenter notifications;
  RenderFlags flags;
  const std::unique_ptr<MicSend> micSend = std::make_unique<MicSend>();
  SimulatedPlatform platform{runtime, log, {.needsSettling = true}};
  SimulatedHost& host = platform.host();
  EngineContext context{runtime, log, settings, notifications, platform, flags, *micSend, {}};
  PlainInstaller installer;
  DriverManager driver{context, &installer};
  std::vector<std::string> lines;
};

TEST_F(DriverManagerTest, FilesDevicesAndSoundAreToldApart) {
  driver.launch();
  EXPECT_EQ(driver.health().verdict, RouteHealthVerdict::inactive)
      << "nothing is installed, so nothing is broken";
  EXPECT_EQ(driver.health().detail, "Driver not installed");
  installer.disk.state = DriverOnDisk::State::whole;
  driver.refreshStatus();
  EXPECT_EQ(driver.health().verdict, RouteHealthVerdict::broken);
  EXPECT_EQ(driver.health().detail, "Bridge device not resolving — try Repair Driver");
  host.installDriver();
  advance(1);
  EXPECT_TRUE(*driver.isActive) << "found by itself";
  EXPECT_EQ(driver.health().verdict, RouteHealthVerdict::healthy);
  EXPECT_FALSE(*driver.isAudioFlowing);
  const auto procedure = platform.hardware().createIOProc(
      bus(0),
      [](void*, const AudioTimeStamp&, AudioBufferList, AudioBufferList) noexcept -> OSStatus {
        return noErr;
      },
      nullptr);
  ASSERT_TRUE(procedure);
  platform.hardware().startDevice(bus(0), *procedure);
  advance(1);
  EXPECT_TRUE(*driver.isAudioFlowing);
  platform.hardware().stopDevice(bus(0), *procedure);
  advance(1);
  EXPECT_FALSE(*driver.isAudioFlowing);
  installer.disk.problem = "is a symbolic link";
  driver.refreshStatus();
  EXPECT_EQ(*driver.pathWarning, "is a symbolic link");
}

TEST_F(DriverManagerTest, APickedRateReachesAllBusesAndStragglersFollowTheBridge) {
  host.installDriver();
  driver.launch();
  EXPECT_FALSE(driver.setSampleRate(22050));
  EXPECT_TRUE(driver.setSampleRate(96000));
  advance(0.5);
  for (int i = 0; i < kBusCount; ++i) EXPECT_EQ(rate(i), 96000) << i;
  EXPECT_EQ(settings.number(kRateKey), 96000);
  set(4, 44100);
  advance(2);
  EXPECT_EQ(rate(4), 96000);
  EXPECT_TRUE(hasLine("bus 4 at 44100"));

  set(0, 44100);
  advance(0.5);
  EXPECT_EQ(*driver.selectedSampleRate, 96000) << "it may still be our own change that arrives";
  advance(3);
  EXPECT_EQ(*driver.selectedSampleRate, 44100) << "somebody else's, and theirs counts";
  advance(5);
  for (int i = 0; i < kBusCount; ++i) EXPECT_EQ(rate(i), 44100) << i;
  EXPECT_EQ(settings.number(kRateKey), 44100);
}

TEST_F(DriverManagerTest, TheSavedRateComesBackWithTheDriverUnlessSomebodyUsesIt) {
  settings.set(kRateKey, 96000.0);
  settings.set("systemAudio_isEnabled", true);
  driver.launch();
  host.installDriver();
  advance(1);
  EXPECT_TRUE(hasLine("not restoring 96000"));
  EXPECT_TRUE(hasLine("the bridge is in use"));
  EXPECT_NE(rate(0), 96000);

  settings.set("systemAudio_isEnabled", false);
  settings.set(kRateKey, 96000.0);
  host.restartService();
  advance(5);
  EXPECT_TRUE(hasLine("restoring saved rate 96000"));
  EXPECT_EQ(rate(0), 96000);
}

}  // namespace
}  // namespace sonmere
