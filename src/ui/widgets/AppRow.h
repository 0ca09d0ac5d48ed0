#pragma once

#include <QFrame>
#include <optional>

#include "control/AppState.h"
#include "ui/widgets/RouteButton.h"

class QLabel;
class QMenu;
class QToolButton;

namespace sonmere {

class EffectsPanel;
class EqualiserPanel;
class GainSlider;
class Meter;
class VolumeField;

// One app: what it is and does, its level, volume, mute, route, and behind a button its equaliser and
// limiter.
class AppRow : public QFrame {
  Q_OBJECT

 public:
  explicit AppRow(const QString& id, QWidget* parent = nullptr);

  const QString& id() const { return id_; }
  // What the service says.
  void showApp(const AppState& app);
  const AppState& app() const { return app_; }
  void setTargets(const std::vector<RouteTarget>& targets);
  void setMaximumGain(float gain);
  // Whether the user wants to hear its route on the monitor.
  void showMonitored(bool monitored);
  void showMeters(const AppMeters& meters);
  // A refusal or a note, beside the controls; empty: none.
  void say(const QString& text, bool isRefusal);

 signals:
  void volumeChosen(const QString& id, float gain);
  void volumeTyped(const QString& id, const QString& text);
  void muteChosen(const QString& id, bool muted);
  void monitorChosen(const QString& id, bool monitored);
  void equaliserChosen(const QString& id, const AppEQSettings& settings);
  // Nothing: off.
  void limiterChosen(const QString& id, std::optional<double> ceilingDb);
  void routeChosen(const QString& id, const QString& target);
  // The chain of plug-ins is to be shown.
  void pluginsWanted(const QString& id);
  // The row has an equaliser from now on.
  void effectsMade(const QString& id, sonmere::EqualiserPanel* equaliser);
  // "hide", "unhide", "pin", "unpin", "remove".
  void rowChosen(const QString& id, const QString& change);

 private:
  void buildControls();
  void showEffects(bool shown);
  void buildMenu();
  QString stateText() const;
  QString targetKey() const;
  void showHints();

  QString id_;
  AppState app_;
  QString said_;  // the answer to an act, in place of the hints
  QLabel* name_;
  QLabel* state_;
  QLabel* note_;
  Meter* meter_;
  GainSlider* slider_;
  VolumeField* volume_;
  QToolButton* mute_;
  QToolButton* monitor_;
  QToolButton* effects_;
  RouteButton* route_;
  QToolButton* more_;
  EffectsPanel* effectsPanel_ = nullptr;  // once it was opened
  QMenu* menu_;
};

}  // namespace sonmere
