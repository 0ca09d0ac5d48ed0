#pragma once

#include <QWidget>

#include "dsp/AppEQSettings.h"

class QDoubleSpinBox;
class QToolButton;

namespace sonmere {

class EqualiserCurve;

// The curve with its switch, its five values as fields, presets and Reset EQ.
class EqualiserPanel : public QWidget {
  Q_OBJECT

 public:
  explicit EqualiserPanel(QWidget* parent = nullptr);

  // What the service says; tells nobody. A field that is being typed in keeps its text.
  void showSettings(const AppEQSettings& settings);
  // Whether the user wants a spectrum behind the curve, and what it is now.
  void showSpectrumWanted(bool wanted);
  void showSpectrum(const std::vector<float>& bandsDb);

 signals:
  void spectrumChosen(bool wanted);
  // The panel has come into view, or left it: a spectrum is looked at only in between.
  void looked(bool begins);
  // The user's wish, also while a drag is under way.
  void edited(const AppEQSettings& settings);

 protected:
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;

 private:
  QDoubleSpinBox* addField(const QString& name, double low, double high, int decimals, const QString& unit,
                           double AppEQSettings::*member);
  QToolButton* presetButton();
  void choose(AppEQSettings settings);
  void fill();

  struct Field {
    QDoubleSpinBox* box;
    double AppEQSettings::*member;
  };
  EqualiserCurve* curve_;
  QToolButton* enabled_;
  QToolButton* spectrum_;
  class QGridLayout* fieldGrid_;
  std::vector<Field> fields_;
  AppEQSettings settings_;
};

}  // namespace sonmere
