#pragma once

#include <string>

#include "audio/device/Platform.h"
#include "base/Log.h"
#include "base/NotificationCenter.h"
#include "base/Runtime.h"
#include "base/SettingsStore.h"
#include "dsp/MicSend.h"
#include "dsp/RenderFlags.h"

namespace sonmere {

// Where the program keeps its files.
struct Folders {
  std::string applicationSupport;  // histories, health records
  std::string defaultRecordings;   // "~/Music/Sonmere Recordings"
};

// What every engine stands on. All outlive the engines.
struct EngineContext {
  Runtime& runtime;
  Log& log;
  SettingsStore& settings;
  NotificationCenter& notifications;
  Platform& platform;
  RenderFlags& flags;
  MicSend& micSend;
  Folders folders;
};

}  // namespace sonmere
