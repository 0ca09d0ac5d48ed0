#pragma once

#include <memory>

#include "app/FileSettingsStore.h"
#include "audio/device/BusName.h"
#include "base/NotificationCenter.h"
#include "base/VirtualRuntime.h"
#include "cli/WarningLog.h"
#include "recording/library/RecordingsLibrary.h"

namespace sonmere {

// The user's recordings library for one command: without any thread, and without a scan of its own. What is
// changed in the settings is written before the command ends. Main thread.
class UserLibrary {
 public:
  // Fails when there are settings that can't be read. `warn` is told when they were damaged, and set aside.
  static Outcome<std::unique_ptr<UserLibrary>> open(const WarningLog::Warn& warn);

  RecordingsLibrary& library() { return library_; }
  const SettingsStore& settings() const { return settings_; }
  TrackNames trackNames();
  Outcome<void> save() { return settings_.synchronize(); }

 private:
  explicit UserLibrary(const WarningLog::Warn& warn);

  VirtualRuntime runtime_;
  bool isOpen_ = false;  // from then on the commands tell by themselves
  WarningLog log_;
  FileSettingsStore settings_;
  NotificationCenter notifications_;
  RecordingsLibrary library_;
};

}  // namespace sonmere
