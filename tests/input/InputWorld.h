#pragma once

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "base/VirtualRuntime.h"
#include "input/MicPassthroughEngine.h"
#include "platform/simulated/SampleSources.h"
#include "platform/simulated/SimulatedPlatform.h"

namespace sonmere {

// The microphone's engine on a simulated machine with an interface of four inputs, in virtual time.
struct InputWorld {
  static constexpr const char* kBridgeUID = "ToneFerry_UID";
  static constexpr const char* kInterfaceUID = "Interface";

  explicit InputWorld(std::uint64_t seed = 1) : runtime(seed), platform((listen(), runtime), log) {
    host().plugStandardMachine();
    host().installDriver();
    host().permissions().set(Permission::microphone, PermissionStatus::authorized);
  }

  // Two channels as the source has them, and the same on channels 3 and 4.
  static SimulatedDeviceDescription interface(SampleSourceFactory signal) {
    SimulatedDeviceDescription device;
    device.uid = kInterfaceUID;
    device.name = "Interface";
    device.inputChannels = 4;
    device.outputChannels = 0;
    device.inputSignal = std::move(signal);
    return device;
  }
  void plugInterface(SampleSourceFactory signal) { host().plug(interface(std::move(signal))); }

  SimulatedHost& host() { return platform.host(); }
  void wait(double seconds) { runtime.advance(fromSeconds(seconds)); }
  MicPassthroughEngine& launch() {
    engine = std::make_unique<MicPassthroughEngine>(context);
    engine->launch();
    return *engine;
  }
  // A running mic on that device.
  MicPassthroughEngine& run(const std::string& uid) {
    launch();
    EXPECT_TRUE(engine->select(uid));
    engine->setEnabled(true);
    EXPECT_EQ(error(), "");
    EXPECT_TRUE(engine->isRunning());
    return *engine;
  }
  std::string error() const { return engine->errorMessage->value_or(""); }
  bool logged(const std::string& text) const {
    return std::ranges::any_of(lines, [&](const std::string& line) { return line.find(text) != line.npos; });
  }
  std::string usedUID() { return engine->devices().selected().value_or(MicDevice{}).uid; }

  VirtualRuntime runtime;
  Log log;
  std::vector<std::string> lines;
  SimulatedPlatform platform;
  MemorySettingsStore settings;
  NotificationCenter notifications;
  RenderFlags flags;
  std::unique_ptr<MicSend> micSend = std::make_unique<MicSend>();
  EngineContext context{runtime, log, settings, notifications, platform, flags, *micSend, Folders{}};
  std::unique_ptr<MicPassthroughEngine> engine;

 private:
  void listen() {
    log.addSink([this](LogLevel, const std::string& line) { lines.push_back(line); });
  }
};

}  // namespace sonmere
