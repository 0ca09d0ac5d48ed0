#pragma once

#include <QFrame>
#include <map>

#include "ui/model/PluginView.h"

class QComboBox;
class QGridLayout;
class QLabel;
class QToolButton;

namespace sonmere {

class ElidedLabel;
class PluginControlField;

// One plug-in of a chain: what it is and how it does, its switch, its place, and behind a button its controls
// and presets.
class PluginRow : public QFrame {
  Q_OBJECT

 public:
  explicit PluginRow(QWidget* parent = nullptr);

  // What the service says. `isFirst` and `isLast` are of its place.
  void showPlugin(const PluginView& plugin, bool isFirst, bool isLast);
  const QString& uri() const { return plugin_.uri; }
  // Its controls, once they are known.
  void showInfo(const PluginInfoView& info);
  void openControls(bool shown);

 signals:
  void bypassChosen(bool bypassed);
  // By one place, towards the begin of the chain or its end.
  void moveChosen(int by);
  void removeChosen();
  // The controls are to be shown and are not known yet.
  void infoWanted();
  void controlChosen(const QString& symbol, double value);
  void presetChosen(const QString& preset);

 private:
  void buildControls(const PluginInfoView& info);
  void showValues();
  QString stateText() const;

  PluginView plugin_;
  ElidedLabel* name_;
  QLabel* state_;
  QToolButton *on_, *controls_, *up_, *down_, *remove_;
  QWidget* panel_;
  QGridLayout* fields_;
  bool isBuilt_ = false;
  std::map<QString, PluginControlField*> bySymbol_;
};

}  // namespace sonmere
