#pragma once

#include <QWidget>

namespace sonmere {

class GainSlider;
class VolumeField;

// A volume as a slider, and beside it as a text that can be typed.
class GainBox : public QWidget {
  Q_OBJECT

 public:
  // `mostGain` is linear.
  explicit GainBox(float mostGain, QWidget* parent = nullptr);

  // What it is the volume of, for a screen reader.
  void setName(const QString& name);
  void showGain(float gain);

 signals:
  void gainChosen(float gain);
  // What was typed is no volume; why.
  void refused(const QString& why);

 private:
  void take(const QString& text);

  GainSlider* slider_;
  VolumeField* field_;
};

}  // namespace sonmere
