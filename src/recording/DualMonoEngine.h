#pragma once

#include "base/Log.h"
#include "base/NotificationCenter.h"
#include "base/Observable.h"
#include "base/SettingsStore.h"
#include "recording/RecordingLayout.h"

namespace sonmere {

// The layout of recordings as the user chose it, and with it whether the bridge is split into the microphone
// on the left and the apps on the right: the choice alone does that, whether anything is recorded or not.
// Main thread.
class DualMonoEngine {
 public:
  static constexpr const char* kEnabledKey = "sonmere.dualmono.isEnabled";
  // Posted when the split has changed and was stored.
  static constexpr const char* kChanged = "sonmereDualMonoChanged";

  DualMonoEngine(Log& log, SettingsStore& settings, NotificationCenter& notifications);

  OwnedObservable<bool, DualMonoEngine> isEnabled{false};
  OwnedObservable<RecordingLayout, DualMonoEngine> layout{RecordingLayout::mixed};

  void setLayout(RecordingLayout wanted);

 private:
  void setEnabled(bool enabled);

  Log& log_;
  SettingsStore& settings_;
  NotificationCenter& notifications_;
};

}  // namespace sonmere
