#pragma once

#include <algorithm>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "KnownSignal.h"
#include "PrivateSession.h"
#include "app/TapEngineRecorderFeed.h"
#include "base/LiveRuntime.h"
#include "platform/pipewire/PipeWirePlatform.h"
#include "recording/BusRecordings.h"
#include "routing/AppTapEngine.h"

namespace sonmere {

// The engines on a private PipeWire session, in real time. Nothing is waited for by the clock: `until` lets
// the main queue run while a condition does not hold yet, and gives up only when something is broken.
struct PipeWireWorld {
  explicit PipeWireWorld(int quantum = 0)
      : session(quantum), platform((listen(), runtime), log, {session.socket(), ""}) {
    settings.set(kRecordingBitDepthKey, "float32");
  }
  ~PipeWireWorld() {
    recordings.reset();
    feed.reset();
    engine.reset();
  }

  bool start() {
    if (!platform.waitUntilReady(kPatience)) return false;
    engine = std::make_shared<AppTapEngine>(context);
    engine->start();
    feed = std::make_unique<TapEngineRecorderFeed>(*engine);
    recordings = std::make_unique<BusRecordings>(
        RecordingContext{
            runtime, log, settings, notifications, context.folders,
            RecordingHealth::create(runtime, log, notifications, context.folders.applicationSupport),
            std::make_shared<FlushDeadline>()},
        *feed);
    engine->setRecordingRate(
        [this](int bus) { return recordings ? recordings->recordingRate(bus) : std::nullopt; });
    return true;
  }

  bool until(const std::function<bool()>& condition) {
    const Duration end = runtime.uptime() + kPatience;
    while (!condition()) {
      if (runtime.uptime() > end) return false;
      pump();
    }
    return true;
  }
  void pump() {
    const TaskToken wake = runtime.mainQueue().postAfter(fromMilliseconds(5), [this] { runtime.stop(); });
    runtime.run();
    wake.cancel();
  }
  bool untilLogged(const std::string& text) {
    return until([&] { return logged(text); });
  }
  bool logged(const std::string& text) const {
    const std::lock_guard lock(mutex);
    return std::ranges::any_of(lines, [&](const std::string& line) { return line.contains(text); });
  }
  // For a story that failed: what was logged, and what the session says.
  std::string told() const {
    std::string all;
    {
      const std::lock_guard lock(mutex);
      for (const std::string& line : lines) all += line + "\n";
    }
    return all + session.run({"pw-link", "-l"}) + session.run({"pw-metadata"});
  }
  // Until the app has a row with processes; then routes it.
  bool route(const std::string& app, int bus) {
    const auto isThere = [&] {
      const TappedAppInfo* row = engine->row(app);
      return row && !row->audioObjectIDs.empty();
    };
    return until(isThere) && engine->setBus(app, bus) && engine->setRouted(app, true);
  }
  // Until the file of a recorder that is under way holds that many samples of the signal.
  bool untilRecorded(const std::string& path, const KnownSignal& signal, std::size_t samples, Match& match) {
    std::uintmax_t enough = 0;
    return until([&] {
      std::error_code error;
      const auto size = std::filesystem::file_size(path, error);
      if (error || size < enough) return false;
      // Looking is dear: not before as much more has come as is missing.
      match = findSignal(readSamples(path), signal.samples);
      enough = size + (samples - std::min(samples, match.length)) * sizeof(float) + 4096;
      return match.length >= samples;
    });
  }
  AudioHardware& hardware() { return platform.hardware(); }
  AudioDeviceID device(const std::string& uid) { return hardware().deviceForUID(uid).value_or(0); }
  std::vector<AudioObjectID> processesOf(const std::string& bundleID) {
    auto processes = hardware().processObjects().value_or(std::vector<AudioObjectID>());
    std::erase_if(processes, [&](AudioObjectID process) {
      return hardware().processBundleID(process).value_or("") != bundleID;
    });
    return processes;
  }
  // Names of the devices that the app's streams play to; those that only this program sees don't count.
  std::vector<std::string> outputsOf(const std::string& bundleID) {
    std::vector<std::string> names;
    for (const AudioObjectID process : processesOf(bundleID)) {
      const auto devices = hardware().processDevices(process);
      for (const AudioDeviceID id : devices.value_or(std::vector<AudioDeviceID>()))
        names.push_back(hardware().deviceUID(id).value_or(""));
    }
    return names;
  }
  std::vector<std::string> stopRecordings() {
    std::optional<std::vector<std::string>> paths;
    recordings->stopAllRecordings([&](std::vector<std::string> all) { paths = std::move(all); });
    until([&] { return paths.has_value(); });
    return paths.value_or(std::vector<std::string>());
  }

  static constexpr Duration kPatience = std::chrono::seconds(20);

  mutable std::mutex mutex;
  std::vector<std::string> lines;
  PrivateSession session;
  LiveRuntime runtime;
  Log log;
  PipeWirePlatform platform;
  MemorySettingsStore settings;
  NotificationCenter notifications;
  RenderFlags flags;
  std::unique_ptr<MicSend> micSend = std::make_unique<MicSend>();
  EngineContext context{runtime,  log,   settings, notifications,
                        platform, flags, *micSend, Folders{session.file("state"), session.file("takes")}};
  std::shared_ptr<AppTapEngine> engine;
  std::unique_ptr<TapEngineRecorderFeed> feed;
  std::unique_ptr<BusRecordings> recordings;

 private:
  void listen() {
    log.addSink([this](LogLevel, const std::string& line) {
      const std::lock_guard lock(mutex);
      lines.push_back(line);
    });
  }
};

}  // namespace sonmere
