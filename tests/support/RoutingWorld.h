#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "base/Log.h"
#include "base/VirtualRuntime.h"
#include "platform/simulated/SampleSources.h"
#include "platform/simulated/SimulatedPlatform.h"
#include "routing/AppTapEngine.h"

namespace sonmere {

// The tap engine on a simulated machine, in virtual time, with a log that tests can read.
struct RoutingWorld {
  explicit RoutingWorld(std::uint64_t seed = 1, SimulatedOptions options = {})
      : runtime(seed), platform((listen(), runtime), log, std::move(options)) {
    host().plugStandardMachine();
    host().installDriver();
  }

  SimulatedHost& host() { return platform.host(); }
  void startEngine() {
    engine = std::make_shared<AppTapEngine>(context);
    engine->start();
  }
  SimulatedApp launch(const std::string& bundleID, const std::string& name = "") {
    SimulatedAppDescription description;
    description.bundleID = bundleID;
    description.name = name.empty() ? bundleID : name;
    return host().launchApp(description);
  }
  void wait(double seconds) { runtime.advance(fromSeconds(seconds)); }
  // Long enough for a scheduled refresh.
  void settle() { wait(0.3); }

  bool logged(const std::string& text) const {
    return std::ranges::any_of(lines, [&](const std::string& line) { return line == text; });
  }
  std::string error() const { return engine->errorMessage()->value_or(""); }
  const TappedAppInfo& row(const std::string& bundleID) const {
    static const TappedAppInfo none;
    const TappedAppInfo* found = engine->row(bundleID);
    return found ? *found : none;
  }

  VirtualRuntime runtime;
  Log log;
  std::vector<std::string> lines;   // of level info and above
  std::vector<std::string> events;  // every line, with its virtual time
  SimulatedPlatform platform;
  MemorySettingsStore settings;
  NotificationCenter notifications;
  RenderFlags flags;
  std::unique_ptr<MicSend> micSend = std::make_unique<MicSend>();
  EngineContext context{runtime, log, settings, notifications, platform, flags, *micSend, Folders{}};
  std::shared_ptr<AppTapEngine> engine;

 private:
  void listen() {
    log.addSink([this](LogLevel level, const std::string& line) {
      if (level != LogLevel::debug) lines.push_back(line);
      events.push_back(std::to_string(runtime.uptime().count()) + " " + line);
    });
  }
};

}  // namespace sonmere
