#include "app/EmbeddedPlatform.h"

#include <vector>

#include "platform/effects/Lv2EffectsHost.h"
#include "platform/simulated/SampleSources.h"
#include "platform/simulated/SimulatedPlatform.h"

namespace sonmere {

struct EmbeddedPlatform::Parts {
  struct Program {
    SimulatedApp app;
    std::unique_ptr<SampleSource> source;
  };

  Parts(Runtime& itsRuntime, Log& log)
      : runtime(itsRuntime),
        plugins(runtime, log, Lv2EffectsHost::standardOptions()),
        platform(runtime, log) {
    platform.effects().setOutside(&plugins);
  }

  Runtime& runtime;
  Lv2EffectsHost plugins;  // the system's
  SimulatedPlatform platform;
  std::vector<Program> programs;
  std::shared_ptr<DeviceRecorder> ear;  // on the speakers, once somebody wants it
};

EmbeddedPlatform::EmbeddedPlatform(Runtime& runtime, Log& log)
    : parts_(std::make_unique<Parts>(runtime, log)) {
  parts_->platform.host().plugStandardMachine();
  parts_->platform.host().installDriver();
}

EmbeddedPlatform::~EmbeddedPlatform() = default;

std::string EmbeddedPlatform::ownBundleID() { return SimulatedOptions{}.ownBundleID; }

Platform& EmbeddedPlatform::platform() { return parts_->platform; }

namespace {

EmbeddedPlatform::FileFailure onMainQueue(Runtime& runtime, EmbeddedPlatform::FileFailure failed) {
  return [&runtime, failed = std::move(failed)](const Error& error) {
    runtime.mainQueue().post([failed, error] { failed(error); });
  };
}

}  // namespace

Outcome<std::string> EmbeddedPlatform::plugMicrophone(const std::string& file, FileFailure failed) {
  // One that can't be opened is told now.
  if (const auto source = SampleSources::file(file); !source) return std::unexpected(source.error());
  SimulatedDeviceDescription device;
  device.uid = "DemoMicrophone";
  device.name = "Demo Microphone";
  device.inputChannels = 2;
  device.outputChannels = 0;
  device.inputSignal = [file, told = onMainQueue(parts_->runtime, std::move(failed))] {
    auto source = SampleSources::file(file, false, told);
    return source ? std::move(*source) : SampleSources::silence();
  };
  parts_->platform.host().plug(device);
  parts_->platform.host().permissions().set(Permission::microphone, PermissionStatus::authorized);
  return device.uid;
}

Outcome<void> EmbeddedPlatform::launchApp(const std::string& bundleID, const std::string& file, bool loop,
                                          FileFailure failed) {
  auto source = SampleSources::file(file, loop, onMainQueue(parts_->runtime, std::move(failed)));
  if (!source) return std::unexpected(source.error());
  SimulatedAppDescription description;
  description.bundleID = bundleID;
  description.name = bundleID;
  auto app = parts_->platform.host().launchApp(std::move(description));
  parts_->programs.push_back({std::move(app), std::move(*source)});
  return {};
}

std::vector<float> EmbeddedPlatform::takeHeard() {
  if (!parts_->ear) parts_->ear = parts_->platform.host().hear(SimulatedHost::kSpeakersUID);
  return parts_->ear->takeSamples();
}

double EmbeddedPlatform::speakersRate() const {
  return parts_->platform.host().nominalRate(SimulatedHost::kSpeakersUID);
}

void EmbeddedPlatform::playAll() {
  for (Parts::Program& program : parts_->programs)
    if (program.source) program.app.play(std::move(program.source));
}

void EmbeddedPlatform::stopAll() {
  for (Parts::Program& program : parts_->programs) program.app.stop();
}

}  // namespace sonmere
