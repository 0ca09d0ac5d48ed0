#pragma once

#include <QWidget>

#include "ui/model/PluginView.h"

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QSlider;

namespace sonmere {

// One control of a plug-in: a box for what is on or off, a choice for what has names, else a slider over its
// range and a number with its unit.
class PluginControlField : public QWidget {
  Q_OBJECT

 public:
  explicit PluginControlField(const PluginControlView& control, QWidget* parent = nullptr);

  const QString& symbol() const { return control_.symbol; }
  // What the service says; tells nobody.
  void showValue(double value);
  double value() const { return value_; }
  // As the plug-in begins.
  double initialValue() const { return control_.initial; }
  // "-90 to 24 dB"; empty where the field says it all.
  QString rangeText() const;

 signals:
  void chosen(double value);

 private:
  bool isChoice() const;
  void choose(double value);
  int stepOf(double value) const;
  double valueAt(int step) const;

  const PluginControlView control_;
  double value_;
  QCheckBox* box_ = nullptr;
  QComboBox* names_ = nullptr;
  QSlider* slider_ = nullptr;
  QDoubleSpinBox* number_ = nullptr;
};

}  // namespace sonmere
