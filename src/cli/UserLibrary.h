#pragma once

#include <memory>

#include "app/FileSettingsStore.h"
#include "base/NotificationCenter.h"
#include "base/VirtualRuntime.h"
#include "recording/RecordingsLibrary.h"

namespace sonmere {

// The user's recordings library for one command: without any thread, and without a scan of its own. What is
// changed in the settings is written before the command ends. Main thread.
class UserLibrary {
 public:
  // Fails when there are settings that can't be read.
  static Outcome<std::unique_ptr<UserLibrary>> open();

  RecordingsLibrary& library() { return library_; }
  // Warnings of what the library does are for the user.
  Log& log() { return log_; }
  Outcome<void> save() { return settings_.synchronize(); }

 private:
  UserLibrary();

  VirtualRuntime runtime_;
  Log log_;
  FileSettingsStore settings_;
  NotificationCenter notifications_;
  RecordingsLibrary library_;
};

}  // namespace sonmere
