#pragma once

#include "ui/model/AppsModel.h"
#include "ui/model/BusesModel.h"
#include "ui/model/CombinedInputModel.h"
#include "ui/model/DAWModel.h"
#include "ui/model/InputModel.h"
#include "ui/model/MixModel.h"
#include "ui/model/MonitorModel.h"
#include "ui/model/PluginsModel.h"
#include "ui/model/PresetsModel.h"
#include "ui/model/ProfilesModel.h"
#include "ui/model/RecordingModel.h"
#include "ui/model/RulesModel.h"
#include "ui/model/ServiceLink.h"
#include "ui/model/SettingsModel.h"
#include "ui/model/StatusModel.h"
#include "ui/model/SystemAudioModel.h"

namespace sonmere {

// What the pages show, all of one service.
class Models {
 public:
  // The folder of the service's socket.
  explicit Models(std::filesystem::path folder)
      : link_(std::move(folder), {kTopics.begin(), kTopics.end()}, kMeterRate),
        apps_(link_),
        buses_(link_),
        combined_(link_),
        daw_(link_),
        input_(link_),
        mix_(link_),
        monitor_(link_),
        plugins_(link_),
        presets_(link_),
        profiles_(link_),
        recording_(link_),
        rules_(link_),
        settings_(link_),
        status_(link_),
        system_(link_) {}

  ServiceLink& link() { return link_; }
  AppsModel& apps() { return apps_; }
  BusesModel& buses() { return buses_; }
  CombinedInputModel& combined() { return combined_; }
  DAWModel& daw() { return daw_; }
  InputModel& input() { return input_; }
  MixModel& mix() { return mix_; }
  MonitorModel& monitor() { return monitor_; }
  PluginsModel& plugins() { return plugins_; }
  PresetsModel& presets() { return presets_; }
  ProfilesModel& profiles() { return profiles_; }
  RecordingModel& recording() { return recording_; }
  RulesModel& rules() { return rules_; }
  SettingsModel& settings() { return settings_; }
  StatusModel& status() { return status_; }
  SystemAudioModel& system() { return system_; }

 private:
  static constexpr double kMeterRate = 30;  // Hz

  ServiceLink link_;
  AppsModel apps_;
  BusesModel buses_;
  CombinedInputModel combined_;
  DAWModel daw_;
  InputModel input_;
  MixModel mix_;
  MonitorModel monitor_;
  PluginsModel plugins_;
  PresetsModel presets_;
  ProfilesModel profiles_;
  RecordingModel recording_;
  RulesModel rules_;
  SettingsModel settings_;
  StatusModel status_;
  SystemAudioModel system_;
};

}  // namespace sonmere
