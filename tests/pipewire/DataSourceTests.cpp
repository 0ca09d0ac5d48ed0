#include <gtest/gtest.h>

#include "FakeCard.h"
#include "PipeWireWorld.h"
#include "audio/device/CoreAudioUtils.h"

namespace sonmere {

// A laptop's loudspeaker and microphone, into which somebody plugs headphones; and a box on the wire.
TEST(DataSource, IsWhereACardsSoundGoesAndIsToldWhenThatChanges) {
  PipeWireWorld world(256);
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.start());
  AudioHardware& hardware = world.hardware();
  const FakeCard::Route speaker{true, 3, "analog-output-speaker", "speaker"};
  const FakeCard::Route microphone{false, 4, "analog-input-internal-mic", "mic"};
  FakeCard laptop(world.session.socket(), {{"device.api", "alsa"}, {"device.bus", "pci"}},
                  {speaker, microphone});
  FakeCard box(world.session.socket(), {{"device.api", "alsa"}, {"device.bus", "usb"}},
               {{true, 0, "analog-output", "speaker"}});
  ASSERT_TRUE(world.until([&] { return laptop.id() != 0 && box.id() != 0; }));

  const auto plug = [&](const std::string& uid, const FakeCard& card, int output, int input) {
    const auto side = [&](const std::string& mediaClass, int device) {
      return "media.class=" + mediaClass + " node.name=" + uid + " audio.position=[FL,FR] device.api=alsa" +
             " device.id=" + std::to_string(card.id()) + " card.profile.device=" + std::to_string(device);
    };
    return world.session.launch({"pw-loopback", "--capture-props", side("Audio/Sink", output),
                                 "--playback-props", side("Audio/Source", input)});
  };
  const auto onBoard = plug("on.board", laptop, 3, 4), outside = plug("out.side", box, 0, 9);
  ASSERT_TRUE(world.until([&] { return world.device("on.board") != 0 && world.device("out.side") != 0; }));
  const AudioDeviceID built = world.device("on.board"), other = world.device("out.side");
  EXPECT_TRUE(world.until([&] { return CoreAudioUtils::isBuiltInSpeaker(hardware, built); }));
  EXPECT_TRUE(world.until([&] { return CoreAudioUtils::isBuiltInMicrophone(hardware, built); }));
  EXPECT_EQ(hardware.transportType(other), TransportType::usb);
  EXPECT_EQ(hardware.dataSource(other, AudioScope::output), kDataSourceExternalSpeaker);
  EXPECT_FALSE(hardware.hasDataSource(other, AudioScope::input));
  EXPECT_FALSE(hardware.hasDataSource(world.device("fake.speaker"), AudioScope::output));

  int told = 0;
  ASSERT_TRUE(hardware.addListener(built, AudioProperty::dataSource, AudioScope::output,
                                   world.context.runtime.mainQueue(), [&] { ++told; }));
  laptop.change({{true, 3, "analog-output-headphones", "headphones"}, microphone});
  EXPECT_TRUE(world.until([&] { return told > 0; }));
  EXPECT_EQ(hardware.dataSource(built, AudioScope::output), kDataSourceHeadphones);
  EXPECT_FALSE(CoreAudioUtils::isBuiltInSpeaker(hardware, built));
  EXPECT_TRUE(CoreAudioUtils::isBuiltInMicrophone(hardware, built));
}

}  // namespace sonmere
