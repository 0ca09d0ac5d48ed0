#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "app/ForegroundRun.h"
#include "app/PlatformChoice.h"
#include "app/ToneFerryApp.h"
#include "support/TemporaryFolder.h"

namespace sonmere {

// The application on the embedded server, on either runtime, with settings in memory and its files in a
// folder of its own.
template <class AnyRuntime>
struct AppWorld {
  template <class... Arguments>
  explicit AppWorld(Arguments... arguments) : runtime(arguments...) {}

  void launch(const std::string& id) {
    const auto launched = platform.embedded()->launchApp(id, SONMERE_SOURCE_DIR "/resources/demo/beat.flac",
                                                         true, [](const Error&) {});
    if (!launched) throw std::runtime_error(launched.error().description);
  }
  ToneFerryApp& start() {
    app = std::make_unique<ToneFerryApp>(ToneFerryApp::Environment{runtime, log, settings,
                                                                   platform.platform(), folders(), createFile,
                                                                   recordingsFolder, registersLoginItem});
    return *app;
  }
  Folders folders() const { return {(folder / "state").string(), (folder / "music").string()}; }

  TemporaryFolder folder;
  Log log;
  AnyRuntime runtime;
  PlatformChoice platform{runtime, log, PlatformWish::simulated};
  MemorySettingsStore settings;
  AudioFileFactory createFile = createAudioFile;
  std::optional<std::string> recordingsFolder;
  bool registersLoginItem = false;
  std::unique_ptr<ToneFerryApp> app;
};

}  // namespace sonmere
