#include "ui/widgets/RulesCard.h"

#include <QCheckBox>
#include <QToolButton>

#include "ui/model/AppsModel.h"
#include "ui/model/BusesModel.h"
#include "ui/model/ProfilesModel.h"
#include "ui/model/RulesModel.h"
#include "ui/model/StatusModel.h"
#include "ui/widgets/NoteLabel.h"
#include "ui/widgets/PageLayouts.h"
#include "ui/widgets/RuleForm.h"
#include "ui/widgets/RuleWords.h"

namespace sonmere {

RulesCard::RulesCard(const Shown& models, QWidget* parent)
    : QGroupBox(tr("Rules"), parent),
      models_(models),
      list_(new QVBoxLayout),
      empty_(
          wordsLabel(tr("There are no rules. A rule does something by itself, and takes it back afterwards: "
                        "a profile for calls, less music while you speak."))),
      form_(new RuleForm),
      note_(new NoteLabel) {
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(kGrid, kGrid, kGrid, kGrid);
  layout->setSpacing(kGrid);
  list_->setSpacing(kGrid / 2);
  layout->addLayout(list_);
  layout->addWidget(empty_);
  layout->addWidget(form_);
  layout->addWidget(note_);
  connect(form_, &RuleForm::added, &models_.rules, &RulesModel::add);
  connect(form_, &RuleForm::refused, this, [this](const QString& why) { note_->say(why, true); });
  connect(&models_.rules, &RulesModel::answered, note_, &NoteLabel::say);
  connect(&models_.rules, &RulesModel::changed, this, &RulesCard::refresh);
  connect(&models_.profiles, &ProfilesModel::changed, this, &RulesCard::offerChoices);
  connect(&models_.apps, &AppsModel::appsChanged, this, &RulesCard::refresh);
  connect(&models_.buses, &BusesModel::changed, this, &RulesCard::refresh);
  connect(&models_.status, &StatusModel::changed, this, &RulesCard::offerChoices);
  refresh();
}

RulesCard::Row RulesCard::makeRow(int rule) {
  Row row{new QFrame, new QCheckBox, new QLabel, wordsLabel(), new QToolButton};
  row.whole->setAutoFillBackground(true);
  row.whole->setBackgroundRole(QPalette::Button);
  row.words->setWordWrap(true);
  row.words->setTextFormat(Qt::PlainText);
  row.remove->setText(tr("Remove"));
  QGridLayout* layout = gridIn(row.whole);
  layout->addWidget(row.enabled, 0, 0);
  layout->addWidget(row.words, 0, 1);
  layout->addWidget(row.state, 0, 2);
  layout->addWidget(row.remove, 0, 3);
  layout->setColumnStretch(1, 3);
  layout->setColumnStretch(2, 1);
  connect(row.enabled, &QCheckBox::clicked, this,
          [this, rule](bool on) { models_.rules.setEnabled(rule, on); });
  connect(row.remove, &QToolButton::clicked, this, [this, rule] { models_.rules.remove(rule); });
  list_->addWidget(row.whole);
  return row;
}

void RulesCard::showRule(const Row& row, const RuleState& state) {
  const RuleNames names{[this](const QString& id) {
                          const AppState* app = models_.apps.find(id);
                          return app ? QString::fromStdString(app->name) : id;
                        },
                        [this](int bus) { return models_.buses.nameOf(bus); }};
  const QString words = ruleWords(state.rule, names);
  row.words->setText(words);
  row.state->setText(stateWords(state));
  row.enabled->setChecked(state.rule.isEnabled);
  row.enabled->setAccessibleName(words);
  row.enabled->setToolTip(tr("On"));
  row.remove->setAccessibleName(tr("Remove: %1").arg(words));
}

void RulesCard::refresh() {
  std::map<int, Row> kept;
  bool isLonger = false;
  for (const RuleState& state : models_.rules.rules()) {
    auto known = rows_.extract(state.rule.id);
    isLonger = isLonger || known.empty();
    const Row row = known.empty() ? makeRow(state.rule.id) : known.mapped();
    showRule(row, state);
    kept.emplace(state.rule.id, row);
  }
  for (const auto& [rule, row] : rows_) row.whole->deleteLater();
  rows_ = std::move(kept);
  empty_->setVisible(rows_.empty());
  offerChoices();
  if (isLonger) tabInOrder(*this);
}

void RulesCard::offerChoices() {
  RuleForm::Choices choices;
  for (const AppState& app : models_.apps.apps())
    choices.apps.emplace_back(QString::fromStdString(app.id), QString::fromStdString(app.name));
  for (const DeviceState& device : models_.status.devices())
    choices.devices.emplace_back(QString::fromStdString(device.id), QString::fromStdString(device.name));
  for (const ProfileState& profile : models_.profiles.profiles()) {
    const QString name = QString::fromStdString(profile.name);
    choices.profiles.emplace_back(name, name);
  }
  choices.buses = models_.buses.routable();
  form_->offer(choices);
}

}  // namespace sonmere
