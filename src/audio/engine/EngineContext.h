#pragma once

#include "audio/device/Folders.h"
#include "audio/device/Platform.h"
#include "audio/engine/DeviceDirectory.h"
#include "audio/engine/MonitorSources.h"
#include "audio/engine/RenderServices.h"
#include "audio/engine/RouteKeeper.h"
#include "base/Log.h"
#include "base/NotificationCenter.h"
#include "base/Runtime.h"
#include "base/SettingsStore.h"
#include "dsp/MicSend.h"
#include "dsp/RenderFlags.h"

namespace sonmere {

// What every engine stands on; one for the program, and it outlives the engines. What it refers to outlives
// it.
struct EngineContext {
  EngineContext(Runtime& itsRuntime, Log& itsLog, SettingsStore& itsSettings,
                NotificationCenter& itsNotifications, Platform& itsPlatform, RenderFlags& itsFlags,
                MicSend& itsMicSend, Folders itsFolders)
      : runtime(itsRuntime),
        log(itsLog),
        settings(itsSettings),
        notifications(itsNotifications),
        platform(itsPlatform),
        flags(itsFlags),
        micSend(itsMicSend),
        folders(std::move(itsFolders)),
        rendering(itsRuntime, itsLog, itsPlatform.hardware()),
        monitors(rendering.retirement),
        devices(itsPlatform.hardware(), itsRuntime.mainQueue()),
        routes(itsRuntime, itsPlatform, devices) {}

  AudioHardware& hardware() const { return platform.hardware(); }

  Runtime& runtime;
  Log& log;
  SettingsStore& settings;
  NotificationCenter& notifications;
  Platform& platform;
  RenderFlags& flags;
  MicSend& micSend;
  Folders folders;
  RenderServices rendering;
  MonitorSources monitors;
  DeviceDirectory devices;
  RouteKeeper routes;
};

}  // namespace sonmere
