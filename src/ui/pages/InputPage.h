#pragma once

#include <QWidget>
#include <map>
#include <vector>

#include "ui/widgets/RouteButton.h"

class QComboBox;
class QDoubleSpinBox;
class QGridLayout;
class QLabel;
class QPushButton;
class QToolButton;
class QVBoxLayout;

namespace sonmere {

class EqualiserPanel;
class ExtraInputRow;
class GainSlider;
class InputModel;
class Meter;
class NoteLabel;
class VolumeField;

// The microphone: its switch and device, what is made of its sound and where it goes, further inputs of its
// device, and the lock on the default input.
class InputPage : public QWidget {
  Q_OBJECT

 public:
  explicit InputPage(InputModel& model, QWidget* parent = nullptr);

  // Buses by name; the microphone is sent to Tracks.
  void setBuses(const std::vector<RouteTarget>& buses);

 signals:
  // The microphone's chain of plug-ins is to be shown.
  void pluginsWanted();

 private:
  QWidget* buildSource();
  QWidget* buildSound();
  QWidget* buildSends();
  QWidget* buildExtras();
  QWidget* buildLock();
  void refresh();
  void refreshDevices();
  void refreshExtras();
  void refreshMeters();
  void chooseLimiter();
  void say(const QString& text, bool isRefusal);
  QString stateText() const;

  InputModel& model_;
  QPushButton* enabled_;
  QLabel* state_;
  NoteLabel* note_;
  QComboBox* device_;
  QComboBox* channels_;
  Meter *before_, *after_;
  GainSlider* slider_;
  VolumeField* volume_;
  QToolButton* effects_;
  EqualiserPanel* equaliser_;
  QToolButton* limiter_;
  QDoubleSpinBox* ceiling_;
  QGridLayout* sends_;
  QVBoxLayout* extras_;
  QComboBox* lockDevice_;
  QToolButton* lock_;
  QLabel* lockState_;
  std::map<int, GainSlider*> sendSliders_;
  std::map<std::string, ExtraInputRow*> extraRows_;
};

}  // namespace sonmere
