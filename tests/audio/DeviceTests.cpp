#include <gtest/gtest.h>

#include "audio/device/CoreAudioUtils.h"
#include "audio/device/ListenerTable.h"
#include "base/VirtualRuntime.h"
#include "platform/simulated/SimulatedPlatform.h"

namespace sonmere {
namespace {

using namespace CoreAudioUtils;

class DeviceTest : public testing::Test {
 protected:
  DeviceTest() {
    log.addSink([this](LogLevel level, const std::string& line) {
      if (level != LogLevel::debug) lines.push_back(line);
    });
    host.plugStandardMachine();
    host.installDriver();
  }
  AudioDeviceID device(const std::string& uid) { return *deviceForUID(hardware, uid); }
  static std::vector<std::string> uids(const std::vector<OutputDevice>& devices) {
    std::vector<std::string> all;
    for (const auto& each : devices) all.push_back(each.uid);
    return all;
  }

  VirtualRuntime runtime{1};
  Log log;
  std::vector<std::string> lines;
  SimulatedPlatform platform{runtime, log};
  SimulatedHost& host = platform.host();
  AudioHardware& hardware = platform.hardware();
};

TEST_F(DeviceTest, BusesAreFoundByTheirUIDsAlsoWhileTheServerTranslatesNone) {
  for (int bus = 0; bus < kBusCount; ++bus)
    EXPECT_EQ(deviceUID(hardware, deviceForBus(hardware, bus).value_or(0)),
              std::string(kBusUIDs[std::size_t(bus)]));
  EXPECT_EQ(allBusDevices(hardware).size(), 10u);
  host.faults().failFrom(Operation::deviceForUID, 1, -50);
  EXPECT_TRUE(deviceForBus(hardware, 4));
  EXPECT_FALSE(deviceForUID(hardware, "ToneFerry_UID"));
  host.faults().clear();
  const auto before = host.faults().calls(Operation::deviceForUID);
  EXPECT_FALSE(deviceForBus(hardware, 10));
  EXPECT_FALSE(deviceForBus(hardware, -1));
  EXPECT_FALSE(deviceForUID(hardware, ""));
  EXPECT_EQ(host.faults().calls(Operation::deviceForUID), before) << "no platform call for what can't exist";
  EXPECT_FALSE(deviceForUID(hardware, "nobody"));
  host.removeDriver();
  EXPECT_FALSE(deviceForBus(hardware, 0));
}

TEST_F(DeviceTest, ListsHoldWhatHasThatSideAndOffersOnlyWhatIsNotOurs) {
  AggregateDescription multi;
  multi.uid = "ToneFerry_MultiOut_12345678";
  multi.name = "Sonmere + Speakers";
  multi.isStacked = true;
  multi.subDevices = {{SimulatedHost::kSpeakersUID}, {"ToneFerry_UID", true}};
  const auto aggregate = hardware.createAggregateDevice(multi);
  ASSERT_TRUE(aggregate);
  const auto outputs = uids(allOutputDevices(hardware)), inputs = uids(allInputDevices(hardware));
  EXPECT_EQ(std::ranges::count(outputs, multi.uid), 0);
  EXPECT_EQ(std::ranges::count(outputs, SimulatedHost::kMicrophoneUID), 0);
  EXPECT_EQ(std::ranges::count(inputs, SimulatedHost::kMicrophoneUID), 1);
  EXPECT_EQ(std::ranges::count(outputs, "ToneFerry_UID"), 1);
  EXPECT_EQ(uids(physicalOutputDevices(hardware)),
            (std::vector<std::string>{SimulatedHost::kSpeakersUID, SimulatedHost::kHeadsetUID}));
  for (const char* own : {"ToneFerry_UID", "ToneFerry_MultiOut_1", "Sonmere_DAWMultiTrack_v1",
                          "Sonmere_AppTap_1_2", "Sonmere-CombinedInput"})
    EXPECT_TRUE(isOwnDeviceUID(own)) << own;
  EXPECT_FALSE(isOwnDeviceUID("USBHeadset"));
}

TEST_F(DeviceTest, PropertiesOfDevicesThatAreGoneAreEmpty) {
  const AudioDeviceID headset = device(SimulatedHost::kHeadsetUID);
  EXPECT_EQ(outputChannelCount(hardware, headset), 2);
  EXPECT_TRUE(hasAvailableRate(hardware, headset, 44099.5));
  EXPECT_FALSE(hasAvailableRate(hardware, headset, 44098));
  EXPECT_EQ(channelName(hardware, headset, AudioScope::output, 2), "2");
  EXPECT_TRUE(setDeviceVolume(hardware, headset, AudioScope::output, 7));
  EXPECT_EQ(deviceVolume(hardware, headset, AudioScope::output), 1.0f);
  EXPECT_FALSE(dataSource(hardware, headset, AudioScope::output));
  host.unplug(SimulatedHost::kHeadsetUID);
  EXPECT_FALSE(nominalRate(hardware, headset));
  EXPECT_FALSE(deviceName(hardware, headset));
  EXPECT_FALSE(transportType(hardware, headset));
  EXPECT_FALSE(hasAvailableRate(hardware, headset, 48000));
  EXPECT_FALSE(setDeviceVolume(hardware, headset, AudioScope::output, 0.5f));
  EXPECT_EQ(outputChannelCount(hardware, headset), 0);
}

TEST_F(DeviceTest, BuiltInDevicesAreKnownByUIDOrDataSource) {
  EXPECT_TRUE(isBuiltInSpeaker(hardware, device(SimulatedHost::kSpeakersUID)));
  EXPECT_TRUE(isBuiltInMicrophone(hardware, device(SimulatedHost::kMicrophoneUID)));
  EXPECT_FALSE(isBuiltInSpeaker(hardware, device(SimulatedHost::kHeadsetUID)));
  const auto plug = [&](const char* uid, std::uint32_t source) {
    SimulatedDeviceDescription description;
    description.uid = description.name = uid;
    description.outputDataSource = source;
    host.plug(description);
  };
  plug("Laptop", kDataSourceInternalSpeaker);
  plug("Dock", kDataSourceHeadphones);
  EXPECT_TRUE(isBuiltInSpeaker(hardware, device("Laptop")));
  EXPECT_FALSE(isBuiltInSpeaker(hardware, device("Dock")));
}

TEST(ListenerTable, TellsThoseOfTheObjectThePropertyAndTheScope) {
  VirtualRuntime runtime{1};
  ListenerTable table;
  std::string told;
  const auto add = [&](const char* name, AudioObjectID object, AudioProperty property, AudioScope scope) {
    return table.add(object, property, scope, runtime.mainQueue(), [&told, name] { told += name; });
  };
  using enum AudioProperty;
  const ListenerID any = add("g", 7, dataSource, AudioScope::global);
  add("i", 7, dataSource, AudioScope::input);
  add("o", 7, dataSource, AudioScope::output);
  add("r", 7, nominalSampleRate, AudioScope::global);
  add("x", 8, dataSource, AudioScope::global);
  const auto toldBy = [&](AudioObjectID object, AudioProperty property, AudioScope scope) {
    told.clear();
    table.notify(object, property, scope);
    EXPECT_EQ(told, "") << "on its queue";
    runtime.advance(Duration(1));
    std::ranges::sort(told);
    return told;
  };
  EXPECT_EQ(toldBy(7, dataSource, AudioScope::output), "go");
  EXPECT_EQ(toldBy(7, dataSource, AudioScope::input), "gi");
  EXPECT_EQ(toldBy(7, dataSource, AudioScope::global), "gio");
  EXPECT_EQ(toldBy(7, nominalSampleRate, AudioScope::global), "r");
  EXPECT_TRUE(table.remove(any));
  EXPECT_FALSE(table.remove(any));
  table.removeObject(8);
  EXPECT_EQ(toldBy(7, dataSource, AudioScope::input), "i");
  EXPECT_EQ(toldBy(8, dataSource, AudioScope::global), "");
}

TEST_F(DeviceTest, DefaultsAreSetTogetherAndFailuresAreTold) {
  const AudioDeviceID headset = device(SimulatedHost::kHeadsetUID);
  EXPECT_TRUE(setDefaultOutput(hardware, log, headset));
  EXPECT_EQ(defaultOutput(hardware), headset);
  EXPECT_EQ(defaultSystemOutput(hardware), headset);
  host.faults().failNth(Operation::setDefaultDevice, 2, -50);
  EXPECT_TRUE(setDefaultOutput(hardware, log, device(SimulatedHost::kSpeakersUID)));
  host.faults().failNth(Operation::setDefaultDevice, 1, -50);
  EXPECT_FALSE(setDefaultOutput(hardware, log, headset));
  host.faults().failNth(Operation::setDefaultDevice, 1, -50);
  EXPECT_FALSE(setDefaultInput(hardware, log, headset));
  EXPECT_EQ(lines, (std::vector<std::string>{
                       "ToneFerry: Failed to set system output: -50 (this is normal for multi-output)",
                       "ToneFerry: Failed to set default output: -50",
                       "ToneFerry: Failed to set default input: -50"}));
}

}  // namespace
}  // namespace sonmere
