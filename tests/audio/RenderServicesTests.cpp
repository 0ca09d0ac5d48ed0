#include <gtest/gtest.h>

#include "audio/device/CoreAudioUtils.h"
#include "audio/engine/PropertyListener.h"
#include "audio/engine/RenderServices.h"
#include "base/VirtualRuntime.h"
#include "platform/simulated/SimulatedPlatform.h"

namespace sonmere {
namespace {

struct RenderServicesTest : testing::Test {
  RenderServicesTest() {
    log.addSink([this](LogLevel level, const std::string& line) {
      if (level != LogLevel::debug) lines.push_back(line);
    });
    host.plugStandardMachine();
    speakers = *CoreAudioUtils::deviceForUID(hardware, SimulatedHost::kSpeakersUID);
  }

  VirtualRuntime runtime{1};
  Log log;
  std::vector<std::string> lines;
  SimulatedPlatform platform{runtime, log};
  SimulatedHost& host = platform.host();
  AudioHardware& hardware = platform.hardware();
  AudioDeviceID speakers = kAudioObjectUnknown;
  std::optional<RenderServices> services{std::in_place, runtime, log, hardware};
};

TEST_F(RenderServicesTest, UnitsAreTornDownOneByOneOffTheMainThread) {
  auto context = std::make_shared<int>(1);
  const std::weak_ptr<int> weak = context;
  auto unit = std::move(*hardware.newOutputUnit());
  unit->setCurrentDevice(speakers);
  const auto line =
      "teardown queued: unit=0x" + std::to_string(unit->identifier()) + " device=" + std::to_string(speakers);
  services->teardown.dispose(std::move(unit), std::move(context));
  EXPECT_EQ(host.counts().units, 1u) << "the caller returns at once";
  EXPECT_FALSE(weak.expired());
  EXPECT_TRUE(services->teardown.drain(fromSeconds(1)));
  EXPECT_EQ(host.counts().units, 0u);
  EXPECT_TRUE(weak.expired());
  EXPECT_EQ(lines, std::vector<std::string>{line});
}

// A unit whose stop takes its time, as on a busy server.
struct SlowUnit final : OutputUnit {
  SlowUnit(Runtime& ofTests, std::vector<std::string>& story, std::string itsName)
      : runtime(ofTests), told(story), name(std::move(itsName)) {}
  ~SlowUnit() override {
    told.push_back(name + " gone");
    if (gone) gone();
  }
  std::uint64_t identifier() const override { return 1; }
  OSStatus setEnableIO(AudioScope, bool) override { return noErr; }
  OSStatus setCurrentDevice(AudioDeviceID) override { return noErr; }
  Result<AudioDeviceID> currentDevice() const override { return std::unexpected(-50); }
  OSStatus setStreamFormat(AudioScope, const AudioStreamFormat&) override { return noErr; }
  Result<AudioStreamFormat> hardwareFormat(AudioScope) const override { return std::unexpected(-50); }
  OSStatus setChannelMap(std::vector<std::int32_t>) override { return noErr; }
  OSStatus setMaximumFramesPerSlice(std::uint32_t) override { return noErr; }
  OSStatus setRenderCallback(RenderCallback, void*) override { return noErr; }
  OSStatus setInputCallback(InputCallback, void*) override { return noErr; }
  OSStatus initialize() override { return noErr; }
  OSStatus uninitialize() override { return told.push_back(name + " uninitialized"), noErr; }
  OSStatus start() override { return noErr; }
  OSStatus stop() override {
    told.push_back(name + " stops");
    if (stopping) stopping();
    runtime.blockFor(fromSeconds(1));
    return noErr;
  }
  OSStatus render(const AudioTimeStamp&, std::uint32_t,
                  AudioBufferList) noexcept SONMERE_NONBLOCKING override {
    return noErr;
  }

  Runtime& runtime;
  std::vector<std::string>& told;
  const std::string name;
  std::function<void()> stopping, gone;
};

TEST_F(RenderServicesTest, AUnitIsTornDownOnceTheOneBeforeItIsGone) {
  std::vector<std::string> story;
  for (const char* name : {"a", "b", "c"})
    services->teardown.dispose(std::make_unique<SlowUnit>(runtime, story, name), nullptr);
  EXPECT_TRUE(services->teardown.drain(fromSeconds(4)));
  EXPECT_EQ(story,
            (std::vector<std::string>{"a stops", "a uninitialized", "a gone", "b stops", "b uninitialized",
                                      "b gone", "c stops", "c uninitialized", "c gone"}));
}

TEST_F(RenderServicesTest, WhatAUnitThatWillNotStopMayReadLivesAsLongAsIt) {
  std::vector<std::string> story;
  auto list = std::make_shared<int>(1);
  const std::weak_ptr<int> read = list;
  services->retirement.retire(std::move(list), std::chrono::hours(1));
  auto unit = std::make_unique<SlowUnit>(runtime, story, "stuck");
  unit->stopping = [&] {
    services->teardown.keepForStalledUnits(services->retirement.takePending());
    EXPECT_EQ(services->retirement.pendingCount(), 0u);
  };
  unit->gone = [&] { EXPECT_FALSE(read.expired()); };
  services->teardown.dispose(std::move(unit), nullptr);
  services.reset();
  EXPECT_EQ(story.back(), "stuck gone");
  EXPECT_TRUE(read.expired());
}

TEST_F(RenderServicesTest, AListenerEndsWithItsOwnerEvenForWhatIsPostedAlready) {
  int heard = 0;
  PropertyListener listener;
  const auto listen = [&](AudioObjectID object) {
    return listener.listen(hardware, object, AudioProperty::nominalSampleRate, runtime.mainQueue(),
                           [&] { ++heard; });
  };
  ASSERT_EQ(listen(speakers), noErr);
  host.setNominalRate(SimulatedHost::kSpeakersUID, 44100);
  runtime.settle();
  EXPECT_EQ(heard, 1);
  host.setNominalRate(SimulatedHost::kSpeakersUID, 48000);
  listener.stop();
  runtime.settle();
  EXPECT_EQ(heard, 1) << "posted before it stopped";
  EXPECT_EQ(host.counts().listeners, 0u);
  EXPECT_NE(listen(12345), noErr);
  EXPECT_FALSE(listener);

  std::vector<PropertyListener> many(1);
  many[0].listen(hardware, speakers, AudioProperty::nominalSampleRate, runtime.mainQueue(), [&] {
    ++heard;
    many.clear();
  });
  many.emplace_back();
  host.setNominalRate(SimulatedHost::kSpeakersUID, 96000);
  runtime.settle();
  EXPECT_EQ(heard, 2) << "it may go in its own handler";
  listener.listen(hardware, kAudioObjectSystemObject, AudioProperty::devices, runtime.mainQueue(), [] {});
  host.restartService(fromSeconds(1));
  listener.stop();
  EXPECT_EQ(host.counts().listeners, 0u) << "also while the server is stopped";
}

}  // namespace
}  // namespace sonmere
