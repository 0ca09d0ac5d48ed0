// What the engines ask of the units that play and capture, the same of every platform.

#include "Boundary.h"

namespace sonmere {

namespace {

// What a unit plays, and what it has been given; a constant on each side. Audio thread writes the counters.
struct Voice {
  std::array<float, 2> sides{0.25f, -0.5f};
  OutputUnit* unit = nullptr;
  std::atomic<std::int64_t> played{0}, captured{0};  // frames
  std::array<std::atomic<float>, 2> heard{};

  static OSStatus play(void* refcon, const AudioTimeStamp&, std::uint32_t frames,
                       AudioBufferList buffers) noexcept {
    auto& voice = *static_cast<Voice*>(refcon);
    for (std::uint32_t i = 0; i < 2 * frames; ++i) buffers[0].data[i] = voice.sides[i % 2];
    voice.played += frames;
    return noErr;
  }
  static OSStatus take(void* refcon, const AudioTimeStamp& time, std::uint32_t,
                       std::uint32_t frames) noexcept {
    auto& voice = *static_cast<Voice*>(refcon);
    std::array<float, 2 * 8192> block;
    AudioBuffer buffer{2, std::min(frames, 8192u) * 8, block.data()};
    if (voice.unit->render(time, std::min(frames, 8192u), {&buffer, 1}) != noErr || buffer.byteSize == 0)
      return noErr;
    for (std::size_t i = 0; i < 2; ++i) voice.heard[i] = block[i];
    voice.captured += buffer.byteSize / 8;
    return noErr;
  }
};

// Each step of a unit's life; the first status that is none stays.
struct Steps {
  OSStatus status = noErr;
  Steps& operator<<(OSStatus next) {
    if (status == noErr) status = next;
    return *this;
  }
};

OSStatus prepare(OutputUnit& unit, AudioDeviceID device, AudioScope element,
                 const AudioStreamFormat& format) {
  const bool plays = element == AudioScope::output;
  Steps steps;
  steps << unit.setEnableIO(AudioScope::output, plays) << unit.setEnableIO(AudioScope::input, !plays)
        << unit.setCurrentDevice(device)
        << unit.setStreamFormat(plays ? AudioScope::input : AudioScope::output, format);
  return steps.status;
}

}  // namespace

struct BoundaryUnit : Boundary {
  void SetUp() override {
    Boundary::SetUp();
    ASSERT_TRUE(machine->until([&] { return (track = machine->device(kTrack + "3")) != 0; }));
  }
  std::unique_ptr<OutputUnit> newUnit() { return std::move(hardware.newOutputUnit().value()); }
  // Prepared to play the voice on a device.
  std::unique_ptr<OutputUnit> player(Voice& voice, AudioDeviceID device, double rate = 48000) {
    auto unit = newUnit();
    EXPECT_EQ(prepare(*unit, device, AudioScope::output, {rate, 2}), noErr);
    EXPECT_EQ(unit->setRenderCallback(Voice::play, &voice), noErr);
    return unit;
  }
  static OSStatus begin(OutputUnit& unit) {
    Steps steps;
    steps << unit.initialize() << unit.start();
    return steps.status;
  }

  AudioDeviceID track = kAudioObjectUnknown;
};

TEST_P(BoundaryUnit, PlaysOnTheChannelsOfItsMapUntilItIsStopped) {
  Ear device;
  const Running listening(hardware, track, device);
  struct Case {
    std::vector<std::int32_t> map;
    float left, right;
  };
  for (const Case& each : {Case{{}, 0.25f, -0.5f}, {{1, 0}, -0.5f, 0.25f}, {{-1, 0}, 0, 0.25f}}) {
    Voice voice;
    const auto unit = player(voice, track);
    ASSERT_EQ(unit->setChannelMap(each.map), noErr);
    ASSERT_EQ(begin(*unit), noErr);
    EXPECT_EQ(unit->currentDevice(), track);
    EXPECT_TRUE(machine->until([&] { return device.hears(0, each.left) && device.hears(1, each.right); }))
        << device.input[0] << " and " << device.input[1];
    EXPECT_TRUE(unit->isHeard());
    EXPECT_EQ(unit->stop(), noErr);
    const std::int64_t played = voice.played;
    EXPECT_TRUE(machine->until([&] { return device.hears(0, 0) && device.hears(1, 0); }));
    EXPECT_EQ(voice.played, played) << "nothing is asked for any more";
  }
}

// One that has been stopped goes on with another format, on another device.
TEST_P(BoundaryUnit, ConvertsItsRateAndMovesWhenItIsStopped) {
  Voice voice;
  const auto unit = player(voice, track);
  ASSERT_EQ(begin(*unit), noErr);
  ASSERT_TRUE(machine->until([&] { return voice.played > 4800; }));
  Steps again;
  const AudioDeviceID other = machine->device(kTrack + "4");
  again << unit->stop() << unit->uninitialize() << unit->setCurrentDevice(other)
        << unit->setStreamFormat(AudioScope::input, {24000, 2}) << begin(*unit);
  ASSERT_EQ(again.status, noErr);
  Ear device;
  const Running listening(hardware, other, device);
  ASSERT_TRUE(machine->until([&] { return device.hears(0, 0.25f) && device.hears(1, -0.5f); }));
  const std::int64_t played = voice.played, cycles = device.cycles;
  ASSERT_TRUE(machine->until([&] { return device.cycles > cycles + 100; }));
  const double asked = double(voice.played - played);
  const double passed = double(device.cycles - cycles) * device.frames;
  EXPECT_NEAR(asked / passed, 0.5, 0.05) << "at half the device's rate";
}

TEST_P(BoundaryUnit, FetchesWhatItsDeviceCaptures) {
  ASSERT_TRUE(machine->untilPlaying(kPlayer, kTrack + "3"));
  Voice voice;
  const auto unit = newUnit();
  voice.unit = unit.get();
  ASSERT_EQ(prepare(*unit, track, AudioScope::input, {48000, 2}), noErr);
  ASSERT_EQ(unit->setInputCallback(Voice::take, &voice), noErr);
  ASSERT_EQ(begin(*unit), noErr);
  EXPECT_TRUE(machine->until([&] { return voice.heard[0] == 0.5f && voice.heard[1] == 0.5f; }));
  EXPECT_EQ(unit->hardwareFormat(AudioScope::input), (AudioStreamFormat{48000, 2}));
  EXPECT_EQ(unit->stop(), noErr);
  const std::int64_t captured = voice.captured;
  EXPECT_GT(captured, 0);
  (void)machine->until([turns = 0]() mutable { return ++turns > 20; });
  EXPECT_EQ(voice.captured, captured);
}

TEST_P(BoundaryUnit, RefusesWhatItCannotDoAndKeepsWhatItHad) {
  constexpr AudioDeviceID kGone = 987654;
  Voice voice;
  const auto unit = player(voice, track), other = newUnit();
  EXPECT_NE(unit->identifier(), other->identifier());
  EXPECT_EQ(unit->start(), kAudioUnitErrUninitialized);
  EXPECT_EQ(unit->setCurrentDevice(kGone), kAudioHardwareBadDeviceError);
  EXPECT_EQ(unit->currentDevice(), track);
  for (const AudioStreamFormat& format : {AudioStreamFormat{3, 2}, {1e7, 2}, {48000, 0}, {48000, 1000}})
    EXPECT_EQ(unit->setStreamFormat(AudioScope::input, format), kAudioUnitErrFormatNotSupported);
  EXPECT_EQ(unit->setStreamFormat(AudioScope::global, {48000, 2}), kAudioUnitErrInvalidPropertyValue);
  EXPECT_EQ(unit->setMaximumFramesPerSlice(0), kAudioUnitErrInvalidPropertyValue);
  EXPECT_EQ(unit->setCurrentDevice(machine->device(machine->microphoneUID())),
            kAudioUnitErrInvalidPropertyValue)
      << "it has no output side";
  ASSERT_EQ(unit->initialize(), noErr);
  EXPECT_EQ(unit->setEnableIO(AudioScope::input, true), kAudioUnitErrInvalidPropertyValue);
  EXPECT_EQ(unit->setStreamFormat(AudioScope::input, {44100, 2}), kAudioUnitErrInvalidPropertyValue);
  EXPECT_EQ(unit->setMaximumFramesPerSlice(64), kAudioUnitErrInvalidPropertyValue);
  ASSERT_EQ(unit->start(), noErr);
  EXPECT_EQ(unit->start(), noErr) << "it runs already";
  EXPECT_EQ(unit->setCurrentDevice(machine->device(kTrack + "4")), kAudioHardwareIllegalOperationError);
  EXPECT_EQ(unit->setChannelMap({1, 0}), kAudioHardwareIllegalOperationError);
  EXPECT_EQ(unit->setRenderCallback(nullptr, nullptr), kAudioHardwareIllegalOperationError);
  Ear device;
  const Running listening(hardware, track, device);
  EXPECT_TRUE(machine->until([&] { return device.hears(0, 0.25f); }));

  EXPECT_FALSE(other->hardwareFormat(AudioScope::output)) << "it has no device";
  EXPECT_NE(other->initialize(), noErr);
}

TEST_P(BoundaryUnit, IsSilentOnADeviceThatGoesAndCanBeLetGo) {
  Voice voice;
  const auto unit = player(voice, track);
  ASSERT_EQ(begin(*unit), noErr);
  ASSERT_TRUE(machine->until([&] { return voice.played > 0; }));
  machine->remove(kTrack + "3");
  ASSERT_TRUE(machine->until([&] { return machine->device(kTrack + "3") == kAudioObjectUnknown; }));
  EXPECT_EQ(hardware.isAlive(track).value_or(false), false);
  EXPECT_FALSE(unit->hardwareFormat(AudioScope::output));
  EXPECT_EQ(unit->stop(), noErr);
  EXPECT_EQ(unit->uninitialize(), noErr);
  EXPECT_EQ(unit->initialize(), kAudioHardwareBadDeviceError);
}

INSTANTIATE_TEST_SUITE_P(Simulated, BoundaryUnit, testing::Values(newSimulatedMachine));
INSTANTIATE_TEST_SUITE_P(PipeWire, BoundaryUnit, testing::Values(newPipeWireMachine));

}  // namespace sonmere
