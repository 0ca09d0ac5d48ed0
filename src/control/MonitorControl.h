#pragma once

#include <string>

#include "app/ToneFerryApp.h"
#include "control/MonitorState.h"
#include "control/VolumeRequest.h"

namespace sonmere {

// What of the virtual devices the user hears. Wishes are kept where nothing is heard yet; what of apps and
// buses is monitored is forgotten when the program ends. An app is named as matchApp allows, a device by its
// identifier or name, or any part that fits no other. Main thread.
class MonitorControl {
 public:
  explicit MonitorControl(ToneFerryApp& app) : app_(app) {}

  MonitorState state() const;

  // Off leaves every wish as it is.
  Outcome<MonitorChange> setEnabled(bool enabled);
  Outcome<MonitorChange> select(const std::string& device);
  Outcome<MonitorChange> followDefault();
  Outcome<MonitorChange> setApp(const std::string& app, bool heard);
  // Ends the link to the app's own volume.
  Outcome<MonitorChange> setAppVolume(const std::string& app, VolumeRequest request);
  Outcome<MonitorChange> setLinked(const std::string& app, bool linked);
  Outcome<MonitorChange> setBus(int bus, bool heard);
  Outcome<MonitorChange> setBusVolume(int bus, VolumeRequest request);
  Outcome<MonitorChange> setMicrophone(bool heard);
  Outcome<MonitorChange> setMicrophoneVolume(VolumeRequest request);

 private:
  AppTapEngine& engine() const { return *app_.appTapEngine(); }
  MicPassthroughEngine& mic() const { return *app_.micEngine(); }
  MonitorOutput& output() const { return *app_.monitorOutput(); }
  Outcome<std::string> find(const std::string& app) const;
  // Or why what is to be heard is not.
  Outcome<MonitorChange> change(bool isDone, std::vector<std::string> notes = {}) const;

  ToneFerryApp& app_;
};

}  // namespace sonmere
