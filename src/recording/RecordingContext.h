#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "audio/device/Folders.h"
#include "audio/device/Platform.h"
#include "audio/file/AudioFileWriter.h"
#include "base/Log.h"
#include "base/NotificationCenter.h"
#include "base/Runtime.h"
#include "base/SettingsStore.h"
#include "recording/FlushDeadline.h"
#include "recording/RecordingHealth.h"

namespace sonmere {

using AudioFileFactory = std::function<Outcome<std::shared_ptr<AudioFileWriter>>(const std::string& path,
                                                                                 const AudioFileSettings&)>;

// What recorders stand on. Runtime and log outlive the recorders and their writes; health and deadline are
// kept alive by a write that hangs.
struct RecordingContext {
  Runtime& runtime;
  Log& log;
  SettingsStore& settings;
  NotificationCenter& notifications;
  Folders folders;
  std::shared_ptr<RecordingHealth> health;
  std::shared_ptr<FlushDeadline> flushDeadline;
  AudioFileFactory createFile = createAudioFile;
  // Whose bridge is recorded as other programs hear it; null: bus 0 is recorded as its apps are rendered.
  Platform* platform = nullptr;
  // Takes the place of the folder in the settings and of the default one.
  std::optional<std::string> onlyFolder = std::nullopt;
};

}  // namespace sonmere
