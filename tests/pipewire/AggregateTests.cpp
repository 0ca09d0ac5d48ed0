// Several devices as one.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "PipeWireWorld.h"

namespace sonmere {

namespace {

// A different constant on each channel.
OSStatus steps(void* refcon, const AudioTimeStamp&, AudioBufferList, AudioBufferList output) noexcept {
  if (output.empty()) return noErr;
  AudioBuffer& buffer = output[0];
  for (std::uint32_t i = 0; i < buffer.byteSize / 4; ++i)
    buffer.data[i] = float(i % buffer.channels + 1) / 64.0f;
  static_cast<std::atomic<int>*>(refcon)->fetch_add(1);
  return noErr;
}

struct Latest {
  std::array<std::atomic<float>, 2> values{};
};
OSStatus last(void* refcon, const AudioTimeStamp&, AudioBufferList input, AudioBufferList) noexcept {
  if (input.empty() || input[0].byteSize < 8) return noErr;
  for (std::size_t i = 0; i < 2; ++i) static_cast<Latest*>(refcon)->values[i] = input[0].data[i];
  return noErr;
}

struct Playing {
  Playing(AudioHardware& itsHardware, AudioDeviceID itsDevice, IOProc procedure, void* refcon)
      : hardware(itsHardware), device(itsDevice) {
    id = hardware.createIOProc(device, procedure, refcon).value_or(0);
    status = hardware.startDevice(device, id);
  }
  ~Playing() {
    hardware.stopDevice(device, id);
    hardware.destroyIOProc(device, id);
  }
  AudioHardware& hardware;
  AudioDeviceID device;
  IOProcID id = 0;
  OSStatus status = noErr;
};

}  // namespace

// Eight stereo Tracks show as one device of sixteen channels, each pair in its place.
TEST(Aggregate, SixteenChannelsReachEightTracks) {
  PipeWireWorld world(256);
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.platform.waitUntilReady(PipeWireWorld::kPatience));
  AudioHardware& hardware = world.hardware();
  AggregateDescription description;
  description.uid = "sixteen";
  description.name = "Sixteen";
  description.isPrivate = false;
  for (int track = 1; track <= 8; ++track)
    description.subDevices.push_back({"ToneFerry_UID_Track_" + std::to_string(track), true});
  const auto aggregate = hardware.createAggregateDevice(description);
  ASSERT_TRUE(aggregate.has_value()) << aggregate.error();
  EXPECT_EQ(hardware.deviceForUID("sixteen").value_or(0), *aggregate);
  EXPECT_EQ(hardware.transportType(*aggregate).value_or(0), TransportType::aggregate);
  EXPECT_EQ(hardware.fullSubDeviceList(*aggregate).value().size(), 8u);
  EXPECT_EQ(hardware.streamConfiguration(*aggregate, AudioScope::output).value(),
            std::vector<std::uint32_t>{16});
  // Mixers and patchbays show it, and what it is made of, as this program's.
  const auto nodes = nlohmann::json::parse(world.session.run({"pw-dump"}), nullptr, false);
  int parts = 0;
  for (const auto& object : nodes) {
    const auto properties = object.value("/info/props"_json_pointer, nlohmann::json::object());
    if (!properties.value("node.name", "").contains("sixteen")) continue;
    ++parts;
    EXPECT_EQ(properties.value("device.icon-name", ""), "com.sonmere.ToneFerry") << properties;
  }
  EXPECT_EQ(parts, 18) << "two sides of one device and eight streams";
  std::atomic<int> cycles{0};
  Latest third, eighth;
  const Playing output(hardware, *aggregate, steps, &cycles);
  ASSERT_EQ(output.status, noErr);
  {
    const Playing hear3(hardware, world.device("ToneFerry_UID_Track_3"), last, &third);
    const Playing hear8(hardware, world.device("ToneFerry_UID_Track_8"), last, &eighth);
    EXPECT_TRUE(world.until([&] {
      return third.values[0] == 5 / 64.0f && third.values[1] == 6 / 64.0f && eighth.values[0] == 15 / 64.0f &&
             eighth.values[1] == 16 / 64.0f;
    })) << third.values[0] * 64
        << " " << third.values[1] * 64 << " " << eighth.values[0] * 64;
  }
  EXPECT_EQ(hardware.destroyAggregateDevice(*aggregate), noErr);
  EXPECT_TRUE(world.until([&] { return hardware.deviceForUID("sixteen") == kAudioObjectUnknown; }));
}

// Two outputs as one play the same; as the default it takes every app along, and gives them back.
TEST(Aggregate, TwoOutputsAsOnePlayTheSame) {
  PipeWireWorld world(256);
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.platform.waitUntilReady(PipeWireWorld::kPatience));
  AudioHardware& hardware = world.hardware();
  AggregateDescription description;
  description.uid = "both";
  description.name = "Both";
  description.isPrivate = false;
  description.isStacked = true;
  description.subDevices = {{"ToneFerry_UID_Track_1", false}, {"ToneFerry_UID_Track_2", true}};
  const auto aggregate = hardware.createAggregateDevice(description);
  ASSERT_TRUE(aggregate.has_value());
  EXPECT_EQ(hardware.setDefaultDevice(DefaultDevice::output, *aggregate), noErr);
  std::atomic<int> cycles{0};
  Latest first, second;
  {
    const Playing output(hardware, *aggregate, steps, &cycles);
    const Playing hear1(hardware, world.device("ToneFerry_UID_Track_1"), last, &first);
    const Playing hear2(hardware, world.device("ToneFerry_UID_Track_2"), last, &second);
    EXPECT_TRUE(world.until([&] { return first.values[1] == 2 / 64.0f && second.values[1] == 2 / 64.0f; }));
  }
  EXPECT_EQ(hardware.destroyAggregateDevice(*aggregate), noErr);
  EXPECT_TRUE(world.until(
      [&] { return hardware.defaultDevice(DefaultDevice::output) == world.device("fake.speaker"); }));
  // An aggregate of nothing that exists is none.
  description.subDevices = {{"nowhere", false}};
  EXPECT_FALSE(hardware.createAggregateDevice(description).has_value());
}

// Several inputs as one.
TEST(Aggregate, InputsStandSideBySide) {
  PipeWireWorld world(256);
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.platform.waitUntilReady(PipeWireWorld::kPatience));
  AudioHardware& hardware = world.hardware();
  AggregateDescription description;
  description.uid = "inputs";
  description.name = "Inputs";
  description.subDevices = {{"fake.mic", false}};
  const auto aggregate = hardware.createAggregateDevice(description);
  ASSERT_TRUE(aggregate.has_value());
  EXPECT_EQ(hardware.streamConfiguration(*aggregate, AudioScope::input).value(),
            std::vector<std::uint32_t>{2});
  const auto listed = hardware.devices().value();
  EXPECT_EQ(std::ranges::count(listed, *aggregate), 0) << "a private aggregate is in no list";
  std::atomic<int> cycles{0};
  Latest heard;
  const Playing feed(hardware, world.device("fake.mic.feed"), steps, &cycles);
  const Playing input(hardware, *aggregate, last, &heard);
  EXPECT_TRUE(world.until([&] { return heard.values[0] == 1 / 64.0f && heard.values[1] == 2 / 64.0f; }));
}

// A capture engine delivers what its device gives, to a worker.
TEST(Capture, DeliversTheInputSide) {
  PipeWireWorld world(256);
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.platform.waitUntilReady(PipeWireWorld::kPatience));
  const auto capture = world.platform.newCaptureEngine();
  ASSERT_EQ(capture->setCurrentDevice(world.device("fake.mic")), noErr);
  EXPECT_EQ(capture->inputFormat(), (AudioStreamFormat{48000, 2}));
  std::atomic<float> heard{0};
  ASSERT_EQ(capture->installTap(1024, capture->inputFormat(),
                                [&](const CapturedBlock& block) { heard = block.samples[1]; }),
            noErr);
  ASSERT_EQ(capture->start(), noErr);
  std::atomic<int> cycles{0};
  const Playing feed(world.hardware(), world.device("fake.mic.feed"), steps, &cycles);
  EXPECT_TRUE(world.until([&] { return heard == 2 / 64.0f; }));
  bool hasChanged = false;
  const auto subscription =
      capture->observeConfigurationChange(world.runtime.mainQueue(), [&] { hasChanged = true; });
  ASSERT_TRUE(world.session.control("kill", "pipewire"));
  ASSERT_TRUE(world.session.control("restart"));
  EXPECT_TRUE(world.until([&] { return hasChanged; }));
  capture->stop();
}

}  // namespace sonmere
