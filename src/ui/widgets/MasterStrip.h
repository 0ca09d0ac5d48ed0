#pragma once

#include <QFrame>

class QLabel;
class QToolButton;

namespace sonmere {

class AppsModel;
class EqualiserPanel;
class GainSlider;
class NoteLabel;
class VolumeField;

// The per-app volume as a whole: its switch, the master volume, the equaliser of the output, the device.
class MasterStrip : public QFrame {
  Q_OBJECT

 public:
  explicit MasterStrip(AppsModel& model, QWidget* parent = nullptr);

  EqualiserPanel& equaliser() { return *equaliser_; }

 private:
  void refresh();
  void say(const QString& text, bool isRefusal);

  AppsModel& model_;
  QToolButton* enabled_;
  QLabel* device_;
  GainSlider* slider_;
  VolumeField* volume_;
  QToolButton* effects_;
  EqualiserPanel* equaliser_;
  NoteLabel* note_;
};

}  // namespace sonmere
