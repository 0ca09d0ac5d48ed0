#pragma once

#include <QGroupBox>
#include <map>

class QCheckBox;
class QLabel;
class QPushButton;
class QToolButton;
class QVBoxLayout;

namespace sonmere {

class BusesModel;
class GainBox;
class MixAppRow;
class MixModel;
class MonitorModel;
class NoteLabel;
class SystemAudioModel;

// Mix Mode: its switch, the output that the user hears it on, what of it is heard and how loud.
class MixCard : public QGroupBox {
  Q_OBJECT

 public:
  MixCard(MixModel& model, MonitorModel& monitor, SystemAudioModel& system, BusesModel& buses,
          QWidget* parent = nullptr);

 private:
  struct TrackRow {
    QLabel* name;
    GainBox* volume;
    QToolButton* mute;
  };
  QWidget* buildSwitches();
  QWidget* buildRest();
  QWidget* buildTracks();
  TrackRow makeTrack(int track);
  MixAppRow* makeApp(const QString& id);
  void refresh();
  void refreshApps();
  void refreshTracks();
  QString stateText() const;
  QString restText() const;

  MixModel& model_;
  SystemAudioModel& system_;
  BusesModel& buses_;
  QPushButton* enabled_;
  QLabel* state_;
  QPushButton* audition_;
  NoteLabel* note_;
  QVBoxLayout* apps_;
  QLabel* empty_;
  QCheckBox* rest_;
  GainBox* restVolume_;
  QLabel* restState_;
  QCheckBox* hearsTracks_;
  QWidget* tracks_;
  std::map<int, TrackRow> trackRows_;
  std::map<QString, MixAppRow*> appRows_;
};

}  // namespace sonmere
