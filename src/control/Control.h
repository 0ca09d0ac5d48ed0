#pragma once

#include <functional>

#include "control/AppControl.h"
#include "control/DAWControl.h"
#include "control/DeviceControl.h"
#include "control/DriverControl.h"
#include "control/InputControl.h"
#include "control/LibraryControl.h"
#include "control/MaintenanceControl.h"
#include "control/MeterControl.h"
#include "control/Meters.h"
#include "control/MixControl.h"
#include "control/MixerControl.h"
#include "control/MonitorControl.h"
#include "control/PluginControl.h"
#include "control/ProfileControl.h"
#include "control/RecordingControl.h"
#include "control/ReportControl.h"
#include "control/RoutesControl.h"
#include "control/RoutingControl.h"
#include "control/RuleKeeper.h"
#include "control/SettingsControl.h"
#include "control/SystemAudioControl.h"
#include "control/TopicWatch.h"
#include "control/UsageCounts.h"
#include "control/WindowControl.h"

namespace sonmere {

// The one face of the application for whatever controls it: the command line, a window. Plain values in and
// out, topic by topic. Main thread; the application outlives it.
class Control {
 public:
  // `quit` asks for the program's end, `restart` for that and its next start.
  Control(
      ToneFerryApp& app, const PlatformChoice& platform, std::function<void()> quit,
      std::function<void()> restart = [] {})
      : apps_(app),
        mixer_(app),
        routing_(app),
        input_(app),
        monitor_(app),
        routes_(app),
        driver_(app),
        recordings_(app),
        profiles_(app),
        devices_(app),
        settings_(app),
        library_(app),
        window_(app),
        looks_(app),
        plugins_(app),
        daw_(app),
        system_(app),
        mix_(app),
        changes_(app),
        reports_(app, platform),
        maintenance_(app, std::move(restart)),
        usage_(app.context().runtime, app.context().settings, app.context().folders.applicationSupport),
        quit_(std::move(quit)),
        rules_(app, changes_) {}

  AppControl& apps() { return apps_; }
  MixerControl& mixer() { return mixer_; }
  RoutingControl& routing() { return routing_; }
  InputControl& input() { return input_; }
  MonitorControl& monitor() { return monitor_; }
  RoutesControl& routes() { return routes_; }
  DriverControl& driver() { return driver_; }
  RecordingControl& recordings() { return recordings_; }
  ProfileControl& profiles() { return profiles_; }
  DeviceControl& devices() { return devices_; }
  SettingsControl& settings() { return settings_; }
  LibraryControl& library() { return library_; }
  PluginControl& plugins() { return plugins_; }
  DAWControl& daw() { return daw_; }
  SystemAudioControl& system() { return system_; }
  MixControl& mix() { return mix_; }
  ReportControl& reports() { return reports_; }
  UsageCounts& usage() { return usage_; }
  RuleKeeper& rules() { return rules_; }
  MaintenanceControl& maintenance() { return maintenance_; }
  WindowControl& window() { return window_; }
  // Who looks at meters.
  MeterControl& looks() { return looks_; }
  // Changes of all of it.
  TopicWatch& changes() { return changes_; }
  Meters meters() const {
    return {apps_.meters(), routing_.reductions(), recordings_.list(), input_.meters(), {}};
  }
  // Whether anything is metered; without, the meters stand still.
  bool isAnyMetered() const { return apps_.isAnyMetered() || !recordings_.list().empty() || input_.meters(); }
  void quit() { quit_(); }

 private:
  AppControl apps_;
  MixerControl mixer_;
  RoutingControl routing_;
  InputControl input_;
  MonitorControl monitor_;
  RoutesControl routes_;
  DriverControl driver_;
  RecordingControl recordings_;
  ProfileControl profiles_;
  DeviceControl devices_;
  SettingsControl settings_;
  LibraryControl library_;
  WindowControl window_;
  MeterControl looks_;
  PluginControl plugins_;
  DAWControl daw_;
  SystemAudioControl system_;
  MixControl mix_;
  TopicWatch changes_;
  ReportControl reports_;
  MaintenanceControl maintenance_;
  UsageCounts usage_;
  std::function<void()> quit_;
  RuleKeeper rules_;
};

}  // namespace sonmere
