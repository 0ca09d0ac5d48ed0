#pragma once

#include <QWidget>

#include "control/RuleState.h"
#include "ui/widgets/RouteButton.h"

class QComboBox;

namespace sonmere {

class GainBox;

// A rule that is to be: what it waits for, and what it does then.
class RuleForm : public QWidget {
  Q_OBJECT

 public:
  // What can be chosen, by key and name; whatever else can be typed.
  struct Choices {
    std::vector<std::pair<QString, QString>> apps, devices, profiles;
    std::vector<RouteTarget> buses;

    bool operator==(const Choices&) const = default;
  };
  explicit RuleForm(QWidget* parent = nullptr);

  void offer(const Choices& choices);

 signals:
  void added(const sonmere::RuleReason& when, const sonmere::RuleAct& act);
  void refused(const QString& why);

 private:
  void refresh();
  void add();
  RuleReason reason() const;
  RuleAct act() const;

  Choices choices_;
  float gain_ = 1;
  QComboBox *reason_, *subject_, *act_, *target_, *bus_;
  GainBox* volume_;
};

}  // namespace sonmere
