#pragma once

#include <QGroupBox>
#include <map>

#include "control/RuleState.h"

class QCheckBox;
class QLabel;
class QToolButton;
class QVBoxLayout;

namespace sonmere {

class AppsModel;
class BusesModel;
class NoteLabel;
class ProfilesModel;
class RuleForm;
class RulesModel;
class StatusModel;

// What happens by itself: the rules, each with its state, its switch and its end, and a form for another.
class RulesCard : public QGroupBox {
  Q_OBJECT

 public:
  struct Shown {
    RulesModel& rules;
    ProfilesModel& profiles;
    AppsModel& apps;
    BusesModel& buses;
    StatusModel& status;
  };
  explicit RulesCard(const Shown& models, QWidget* parent = nullptr);

 private:
  struct Row {
    QWidget* whole;
    QCheckBox* enabled;
    QLabel* words;
    QLabel* state;
    QToolButton* remove;
  };
  Row makeRow(int rule);
  void refresh();
  void showRule(const Row& row, const RuleState& state);
  void offerChoices();

  Shown models_;
  QVBoxLayout* list_;
  QLabel* empty_;
  RuleForm* form_;
  NoteLabel* note_;
  std::map<int, Row> rows_;
};

}  // namespace sonmere
