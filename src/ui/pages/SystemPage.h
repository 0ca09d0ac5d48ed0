#pragma once

#include <QWidget>

namespace sonmere {

class BusesModel;
class CombinedInputModel;
class DAWModel;
class MixModel;
class MonitorModel;
class StatusModel;
class SystemAudioModel;

// What Sonmere makes of the whole system: system audio and Mix Mode, of which one is on at a time, the device
// of all Tracks, and several inputs as one.
class SystemPage : public QWidget {
  Q_OBJECT

 public:
  struct Shown {
    SystemAudioModel& system;
    MixModel& mix;
    DAWModel& daw;
    CombinedInputModel& combined;
    MonitorModel& monitor;
    BusesModel& buses;
    StatusModel& status;
  };
  explicit SystemPage(const Shown& models, QWidget* parent = nullptr);
};

}  // namespace sonmere
