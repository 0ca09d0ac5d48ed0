#pragma once

#include <QFrame>

#include "control/InputState.h"

class QDoubleSpinBox;
class QToolButton;

namespace sonmere {

class ElidedLabel;
class GainSlider;
class InputModel;
class Meter;

// One additional input: name, meter, volume, pan, mute, and its end.
class ExtraInputRow : public QFrame {
  Q_OBJECT

 public:
  ExtraInputRow(QString id, InputModel& model, QWidget* parent = nullptr);

  void show(const ExtraInputState& input);
  using QWidget::show;
  // Linear peak; nothing while the microphone is off.
  void showPeak(std::optional<float> peak);

 private:
  const QString id_;
  InputModel& model_;
  ElidedLabel* name_;
  Meter* meter_;
  GainSlider* slider_;
  QDoubleSpinBox* pan_;
  QToolButton* mute_;
  QToolButton* remove_;
};

}  // namespace sonmere
