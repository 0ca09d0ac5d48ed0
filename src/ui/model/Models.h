#pragma once

#include "ui/model/AppsModel.h"
#include "ui/model/BusesModel.h"
#include "ui/model/InputModel.h"
#include "ui/model/MonitorModel.h"
#include "ui/model/PluginsModel.h"
#include "ui/model/RecordingModel.h"
#include "ui/model/ServiceLink.h"
#include "ui/model/SettingsModel.h"
#include "ui/model/StatusModel.h"

namespace sonmere {

// What the pages show, all of one service.
class Models {
 public:
  // The folder of the service's socket.
  explicit Models(std::filesystem::path folder)
      : link_(std::move(folder), {kTopics.begin(), kTopics.end()}, kMeterRate),
        apps_(link_),
        buses_(link_),
        input_(link_),
        monitor_(link_),
        plugins_(link_),
        recording_(link_),
        settings_(link_),
        status_(link_) {}

  ServiceLink& link() { return link_; }
  AppsModel& apps() { return apps_; }
  BusesModel& buses() { return buses_; }
  InputModel& input() { return input_; }
  MonitorModel& monitor() { return monitor_; }
  PluginsModel& plugins() { return plugins_; }
  RecordingModel& recording() { return recording_; }
  SettingsModel& settings() { return settings_; }
  StatusModel& status() { return status_; }

 private:
  static constexpr double kMeterRate = 30;  // Hz

  ServiceLink link_;
  AppsModel apps_;
  BusesModel buses_;
  InputModel input_;
  MonitorModel monitor_;
  PluginsModel plugins_;
  RecordingModel recording_;
  SettingsModel settings_;
  StatusModel status_;
};

}  // namespace sonmere
