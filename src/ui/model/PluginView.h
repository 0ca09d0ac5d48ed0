#pragma once

#include <QString>
#include <map>
#include <vector>

namespace sonmere {

// A plug-in that can be put into a chain.
struct PluginOfferView {
  QString uri;
  QString name;
  QString maker;
  QString category;
  QString obstacle;  // why it can't be used; empty: nothing is known against it
};

// One value of a plug-in that a user sets.
struct PluginControlView {
  struct Point {
    QString label;
    double value = 0;
  };
  QString symbol;
  QString name;
  QString unit;  // "dB"; empty for a bare number
  double minimum = 0;
  double maximum = 1;
  double initial = 0;
  bool isToggle = false;
  bool isInteger = false;
  bool isLogarithmic = false;
  std::vector<Point> points;  // values with names
};

struct PluginInfoView {
  std::vector<PluginControlView> controls;
  QStringList presets;  // names
};

// A plug-in of a chain.
struct PluginView {
  QString uri;
  QString name;
  QString maker;
  QString problem;  // why it does not sound; empty when nothing is wrong
  bool isBypassed = false;
  bool isAutoBypassed = false;  // it fails again and again
  double latencyMs = 0;
  std::map<QString, double> values;  // by symbol; those that are known
};

// The chain of a scope.
struct PluginChainView {
  QString state = QStringLiteral("idle");  // "starting", "running", "bypassed"
  bool isTrusted = false;
  double latencyMs = 0;
  std::vector<PluginView> plugins;
};

}  // namespace sonmere
