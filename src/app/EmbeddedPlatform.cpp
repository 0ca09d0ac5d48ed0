#include "app/EmbeddedPlatform.h"

#include <algorithm>
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

const std::vector<EmbeddedPlatform::Output>& EmbeddedPlatform::outputs() {
  static const std::vector<Output> all{{SimulatedHost::kSpeakersUID, "Built-in Speakers", 2},
                                       {SimulatedHost::kHeadsetUID, "USB Headset", 2},
                                       {"DemoInterface", "Studio Interface", 8}};
  return all;
}

std::string EmbeddedPlatform::nameOf(const std::string& uid) {
  const auto found = std::ranges::find_if(outputs(), [&](const Output& each) { return each.uid == uid; });
  return found == outputs().end() ? uid : found->name;
}

void EmbeddedPlatform::plugDemoOutputs() {
  for (const Output& each : outputs()) {
    if (parts_->platform.host().isPlugged(each.uid)) continue;
    SimulatedDeviceDescription device;
    device.uid = each.uid;
    device.name = each.name;
    device.outputChannels = std::uint32_t(each.channels);
    device.clockErrorPpm = 35;
    parts_->platform.host().plug(device);
  }
}

EmbeddedPlatform::Ear EmbeddedPlatform::listen(const std::string& uid, int left, int right) {
  auto recorder = parts_->platform.host().hear(uid);
  const auto take = [recorder, left = std::size_t(left), right = std::size_t(right)] {
    const std::vector<float> all = recorder->takeSamples();
    const std::size_t channels = std::max(recorder->channels(), 1u);
    std::vector<float> pair(all.size() / channels * 2, 0.0f);
    for (std::size_t i = 0; i < pair.size() / 2; ++i) {
      if (left < channels) pair[2 * i] = all[i * channels + left];
      if (right < channels) pair[2 * i + 1] = all[i * channels + right];
    }
    return pair;
  };
  return {take, parts_->platform.host().nominalRate(uid)};
}

void EmbeddedPlatform::playAll() {
  for (Parts::Program& program : parts_->programs)
    if (program.source) program.app.play(std::move(program.source));
}

void EmbeddedPlatform::stopAll() {
  for (Parts::Program& program : parts_->programs) program.app.stop();
}

}  // namespace sonmere
