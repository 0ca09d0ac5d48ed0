#pragma once

#include <QLineEdit>

namespace sonmere {

// A volume as a text that can be typed: "50 %", "-6 dB".
class VolumeField : public QLineEdit {
  Q_OBJECT

 public:
  explicit VolumeField(QWidget* parent = nullptr);

  // What the service says. While the user types it waits for the end of that.
  void showGain(float gain);

 signals:
  // What was typed and confirmed; whoever sends it says what is wrong with it.
  void typed(const QString& text);

 protected:
  void focusInEvent(QFocusEvent* event) override;
  void focusOutEvent(QFocusEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;

 private:
  void confirm();

  float gain_ = 1;
};

// "50 % (-6.0 dB)" is too wide for a row: a percentage, and the decibels as a tip.
QString percentText(float gain);
QString decibelText(float gain);

}  // namespace sonmere
