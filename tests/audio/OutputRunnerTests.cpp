#include <gtest/gtest.h>

#include "audio/device/CoreAudioUtils.h"
#include "audio/engine/OutputRunner.h"
#include "base/VirtualRuntime.h"
#include "platform/simulated/SimulatedPlatform.h"

namespace sonmere {
namespace {

// Plays 0.5 on every channel until it is retired.
struct Constant : RenderContext {
  using RenderContext::RenderContext;
};

OSStatus renderConstant(void* refcon, const AudioTimeStamp& time, std::uint32_t frames,
                        AudioBufferList buffers) noexcept SONMERE_NONBLOCKING {
  auto& context = RenderContext::of<Constant>(refcon);
  const RenderReader::Block block(*context.reader);
  context.beginCycle(time, frames);
  for (AudioBuffer& buffer : buffers)
    std::fill_n(buffer.data, buffer.byteSize / 4, context.retired ? 0.0f : 0.5f);
  return noErr;
}

struct OutputRunnerTest : testing::Test {
  OutputRunnerTest() {
    host.plugStandardMachine();
    runner.outdated = [this] { ++outdated; };
  }
  OutputRunner::Plan plan() {
    OutputRunner::Plan plan;
    plan.device = [this] { return CoreAudioUtils::deviceForUID(hardware, uid); };
    plan.rate = [this](AudioDeviceID device) { return CoreAudioUtils::nominalRate(hardware, device); };
    plan.callback = renderConstant;
    plan.makeContext = [](AudioDeviceID, double rate) { return std::make_shared<Constant>(rate); };
    plan.alsoWatched = [] {
      return std::vector<OutputRunner::Property>{{kAudioObjectSystemObject, AudioProperty::devices}};
    };
    return plan;
  }

  VirtualRuntime runtime{1};
  Log log;
  SimulatedPlatform platform{runtime, log};
  SimulatedHost& host = platform.host();
  AudioHardware& hardware = platform.hardware();
  RenderServices services{runtime, log, hardware};
  std::string uid = SimulatedHost::kSpeakersUID;
  int outdated = 0;
  OutputRunner runner{services, plan()};
};

TEST_F(OutputRunnerTest, EachStepThatFailsIsNamedAndLeavesNothing) {
  const std::vector<std::pair<Operation, OutputStep>> steps = {
      {Operation::deviceForUID, OutputStep::findDevice},
      {Operation::nominalSampleRate, OutputStep::readRate},
      {Operation::newOutputUnit, OutputStep::createUnit},
      {Operation::unitSetCurrentDevice, OutputStep::setDevice},
      {Operation::unitSetStreamFormat, OutputStep::setFormat},
      {Operation::unitSetRenderCallback, OutputStep::setCallback},
      {Operation::unitInitialize, OutputStep::initialize},
      {Operation::unitStart, OutputStep::start},
  };
  for (const auto& [operation, step] : steps) {
    SCOPED_TRACE(operationName(operation));
    host.faults().failNth(operation, 1, -50);
    const auto started = runner.start();
    ASSERT_FALSE(started);
    EXPECT_EQ(started.error().step, step);
    EXPECT_EQ(started.error().status, step <= OutputStep::readRate ? kAudioHardwareBadDeviceError : -50);
    EXPECT_FALSE(runner.isRunning());
    EXPECT_EQ(host.counts(), SimulatedHost::Counts{});
  }
  EXPECT_TRUE(runner.start());
  EXPECT_EQ(runner.sampleRate(), 48000);
}

TEST_F(OutputRunnerTest, ItTellsOfWhatMakesItOutdatedAndOfNothingElse) {
  ASSERT_TRUE(runner.start());
  host.unplug(SimulatedHost::kHeadsetUID);
  runtime.settle();
  EXPECT_EQ(outdated, 0) << "another device";
  host.setNominalRate(uid, 96000);
  runtime.settle();
  EXPECT_EQ(outdated, 1);
  host.setNominalRate(uid, 48000);
  runtime.settle();
  EXPECT_EQ(outdated, 1) << "as it was";
  host.replug(SimulatedHost::kHeadsetUID);
  uid = SimulatedHost::kHeadsetUID;
  runtime.settle();
  EXPECT_EQ(outdated, 2) << "the plan asks for another device";
  uid = SimulatedHost::kSpeakersUID;
  host.unplug(uid);
  runtime.settle();
  EXPECT_GT(outdated, 2) << "the device died";
  runner.stop();
  const int before = outdated;
  host.replug(uid);
  runtime.settle();
  EXPECT_EQ(outdated, before);
}

TEST_F(OutputRunnerTest, AStopIsSilentFromTheNextBlockOnAndLeavesNothing) {
  const auto ear = host.hear(uid);
  ASSERT_TRUE(runner.start());
  runtime.advance(fromSeconds(0.5));
  const auto context = runner.context();
  EXPECT_GT(context->lastRenderHostTime, 0u);
  runner.stop();
  EXPECT_FALSE(runner.isRunning());
  EXPECT_EQ(runner.device(), kAudioObjectUnknown);
  services.waitForTeardown();
  EXPECT_EQ(host.counts(), SimulatedHost::Counts{});
  const std::size_t heard = ear->samples().size();
  runtime.advance(fromSeconds(0.5));
  const auto samples = ear->samples();
  EXPECT_EQ(samples[heard / 2], 0.5f);
  EXPECT_EQ(std::ranges::count(samples.begin() + std::ptrdiff_t(heard), samples.end(), 0.5f), 0);
}

}  // namespace
}  // namespace sonmere
