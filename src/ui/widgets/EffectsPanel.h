#pragma once

#include <QWidget>
#include <optional>

#include "dsp/AppEQSettings.h"

class QDoubleSpinBox;
class QToolButton;

namespace sonmere {

class EqualiserPanel;
struct AppState;

// An app's equaliser and limiter.
class EffectsPanel : public QWidget {
  Q_OBJECT

 public:
  explicit EffectsPanel(QWidget* parent = nullptr);

  // What the service says.
  void showApp(const AppState& app);
  EqualiserPanel& equaliser() { return *equaliser_; }

 signals:
  void equaliserChosen(const AppEQSettings& settings);
  // Nothing: off.
  void limiterChosen(std::optional<double> ceilingDb);
  void pluginsWanted();

 private:
  void chooseLimiter();

  EqualiserPanel* equaliser_;
  QToolButton* limiter_;
  QDoubleSpinBox* ceiling_;
};

}  // namespace sonmere
