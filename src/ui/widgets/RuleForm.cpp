#include "ui/widgets/RuleForm.h"

#include <QComboBox>
#include <QPushButton>
#include <algorithm>

#include "ui/widgets/GainBox.h"
#include "ui/widgets/PageLayouts.h"

namespace sonmere {
namespace {

constexpr float kMostGain = 4;
constexpr int kMute = static_cast<int>(RuleAct::Kind::mute);
constexpr int kUnmute = kMute + 1;

QComboBox* makeBox(const QString& name, bool isTyped) {
  auto* box = new QComboBox;
  box->setAccessibleName(name);
  box->setEditable(isTyped);
  box->setInsertPolicy(QComboBox::NoInsert);
  box->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  box->setMinimumContentsLength(10);
  return box;
}

// What was typed stays; what was chosen, as long as it can be.
void fill(QComboBox& box, const std::vector<std::pair<QString, QString>>& choices) {
  const QString text = box.currentText();
  const bool isTyped = !text.isEmpty() && box.findText(text) < 0;
  box.clear();
  for (const auto& [key, name] : choices) box.addItem(name, key);
  const int known = box.findText(text);
  isTyped ? box.setEditText(text) : box.setCurrentIndex(std::max(known, 0));
}

// The key of what was chosen, or what was typed.
std::string chosen(const QComboBox& box) {
  const int known = box.findText(box.currentText());
  return (known >= 0 ? box.itemData(known).toString() : box.currentText().trimmed()).toStdString();
}

}  // namespace

RuleForm::RuleForm(QWidget* parent)
    : QWidget(parent),
      reason_(makeBox(tr("What the rule waits for"), false)),
      subject_(makeBox(tr("Which"), true)),
      act_(makeBox(tr("What the rule does"), false)),
      target_(makeBox(tr("With what"), true)),
      bus_(makeBox(tr("Where it is routed"), false)),
      volume_(new GainBox(kMostGain)) {
  QGridLayout* layout = gridIn(this);
  layout->setContentsMargins(0, 0, 0, 0);
  reason_->addItems({tr("When an app plays"), tr("When a device is there"), tr("When the microphone is on")});
  act_->addItems({tr("Apply the profile"), tr("Route the app"), tr("Set the volume of"), tr("Mute the app"),
                  tr("Unmute the app")});
  volume_->setName(tr("Volume that the rule sets"));
  volume_->showGain(gain_);
  auto* add = new QPushButton(tr("Add the rule"));
  layout->addWidget(reason_, 0, 0);
  layout->addWidget(subject_, 0, 1);
  layout->addWidget(act_, 1, 0);
  layout->addWidget(target_, 1, 1);
  layout->addWidget(bus_, 2, 0);
  layout->addWidget(volume_, 2, 0);
  layout->addWidget(add, 2, 1, Qt::AlignRight);
  layout->setColumnStretch(0, 1);
  layout->setColumnStretch(1, 1);
  connect(reason_, &QComboBox::currentIndexChanged, this, &RuleForm::refresh);
  connect(act_, &QComboBox::currentIndexChanged, this, &RuleForm::refresh);
  connect(volume_, &GainBox::gainChosen, this, [this](float gain) {
    gain_ = gain;
    volume_->showGain(gain);
  });
  connect(volume_, &GainBox::refused, this, &RuleForm::refused);
  connect(add, &QPushButton::clicked, this, &RuleForm::add);
  refresh();
}

void RuleForm::offer(const Choices& choices) {
  if (choices == choices_) return;
  choices_ = choices;
  const QVariant bus = bus_->currentData();
  bus_->clear();
  bus_->addItem(tr("Default output"), -1);
  for (const RouteTarget& each : choices_.buses) bus_->addItem(each.name, each.key.toInt());
  bus_->setCurrentIndex(std::max(0, bus_->findData(bus)));
  refresh();
}

void RuleForm::refresh() {
  const auto kind = static_cast<RuleReason::Kind>(reason_->currentIndex());
  subject_->setVisible(kind != RuleReason::Kind::mic);
  fill(*subject_, kind == RuleReason::Kind::device ? choices_.devices : choices_.apps);
  const auto does = act().kind;
  fill(*target_, does == RuleAct::Kind::profile ? choices_.profiles : choices_.apps);
  bus_->setVisible(does == RuleAct::Kind::route);
  volume_->setVisible(does == RuleAct::Kind::volume);
}

RuleReason RuleForm::reason() const {
  RuleReason when{static_cast<RuleReason::Kind>(reason_->currentIndex()), {}};
  if (when.kind != RuleReason::Kind::mic) when.subject = chosen(*subject_);
  return when;
}

RuleAct RuleForm::act() const {
  const int index = act_->currentIndex();
  RuleAct act;
  act.kind = static_cast<RuleAct::Kind>(std::min(index, kMute));
  act.target = chosen(*target_);
  act.isMuted = index != kUnmute;
  act.volume = gain_;
  if (const int bus = bus_->currentData().toInt(); act.kind == RuleAct::Kind::route && bus >= 0)
    act.bus = bus;
  return act;
}

void RuleForm::add() {
  const RuleReason when = reason();
  const RuleAct does = act();
  const bool isWhole = (when.kind == RuleReason::Kind::mic || !when.subject.empty()) && !does.target.empty();
  if (!isWhole) return emit refused(tr("Say what the rule waits for, and with what it does something."));
  emit added(when, does);
}

}  // namespace sonmere
