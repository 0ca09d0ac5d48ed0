#pragma once

#include <memory>
#include <string>
#include <vector>

#include "app/TapEngineRecorderFeed.h"
#include "recording/BusRecordings.h"
#include "support/RoutingWorld.h"
#include "support/TemporaryFolder.h"

namespace sonmere {

// A routing world whose buses can be recorded into a folder of its own.
struct RecordingWorld : RoutingWorld {
  explicit RecordingWorld(std::uint64_t seed = 1, SimulatedOptions options = {})
      : RoutingWorld(seed, std::move(options)) {
    context.folders = {folder.path().string(), folder.path().string()};
    settings.set(kRecordingBitDepthKey, "float32");
  }
  ~RecordingWorld() { recordings.reset(); }

  void startAll() {
    startEngine();
    feed = std::make_unique<TapEngineRecorderFeed>(*engine);
    recordings = std::make_unique<BusRecordings>(
        RecordingContext{
            runtime, log, settings, notifications, context.folders,
            RecordingHealth::create(runtime, log, notifications, context.folders.applicationSupport),
            std::make_shared<FlushDeadline>()},
        *feed);
    engine->setRecordingRate(
        [this](int bus) { return recordings ? recordings->recordingRate(bus) : std::nullopt; });
  }
  // Stops all recordings and waits for their files.
  std::vector<std::string> stopRecordings() {
    std::optional<std::vector<std::string>> paths;
    recordings->stopAllRecordings([&](std::vector<std::string> all) { paths = std::move(all); });
    while (!paths) runtime.advance(fromMilliseconds(50));
    return *paths;
  }

  TemporaryFolder folder;
  std::unique_ptr<TapEngineRecorderFeed> feed;
  std::unique_ptr<BusRecordings> recordings;
};

}  // namespace sonmere
