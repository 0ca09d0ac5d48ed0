#include "ui/widgets/SystemAudioCard.h"

#include <QComboBox>
#include <QPushButton>
#include <QSignalBlocker>

#include "ui/model/StatusModel.h"
#include "ui/model/SystemAudioModel.h"
#include "ui/widgets/NoteLabel.h"
#include "ui/widgets/PageLayouts.h"

namespace sonmere {
namespace {

constexpr const char* kRoute = "systemAudio";

}  // namespace

SystemAudioCard::SystemAudioCard(SystemAudioModel& model, StatusModel& status, QWidget* parent)
    : QGroupBox(tr("System audio"), parent),
      model_(model),
      status_(status),
      enabled_(new QPushButton(tr("System audio"))),
      state_(wordsLabel()),
      device_(new QComboBox),
      reset_(new QPushButton(tr("Make it anew"))),
      problem_(new NoteLabel),
      note_(new NoteLabel) {
  QGridLayout* layout = gridIn(this);
  enabled_->setCheckable(true);
  enabled_->setToolTip(tr("Whatever plays goes to your output and into the Bridge"));
  device_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  device_->setMinimumContentsLength(12);
  reset_->setToolTip(tr("Where you hear nothing, or the Bridge hears nothing"));
  layout->addWidget(enabled_, 0, 0);
  layout->addWidget(state_, 0, 1, 1, 2);
  layout->addWidget(labelFor(tr("Plays on"), device_), 1, 0);
  layout->addWidget(device_, 1, 1);
  layout->addWidget(reset_, 1, 2);
  layout->addWidget(problem_, 2, 0, 1, 3);
  layout->addWidget(note_, 3, 0, 1, 3);
  layout->setColumnStretch(1, 1);
  connect(enabled_, &QPushButton::clicked, &model_, &SystemAudioModel::setEnabled);
  connect(device_, &QComboBox::activated, this, [this] { model_.select(device_->currentData().toString()); });
  connect(reset_, &QPushButton::clicked, &model_, &SystemAudioModel::reset);
  connect(&model_, &SystemAudioModel::changed, this, &SystemAudioCard::refresh);
  connect(&model_, &SystemAudioModel::answered, note_, &NoteLabel::say);
  connect(&status_, &StatusModel::changed, this, &SystemAudioCard::refresh);
  refresh();
}

// How it fares is the route's to say: that it is being mended, or that its device is away.
QString SystemAudioCard::stateText() const {
  const SystemAudioState& state = model_.state();
  if (state.wasEndedByUpdate && !state.isEnabled)
    return tr("Switched off after an update, since it did not work; switch it on to try again");
  if (!state.isEnabled) return tr("Off: apps play on your output alone");
  const RouteRow route = status_.route(kRoute);
  if (route.verdict == "broken" || route.verdict == "degraded") return QString::fromStdString(route.detail);
  const QString output = QString::fromStdString(state.outputName);
  if (!state.isWhole) return tr("On, but it does not reach both %1 and the Bridge").arg(output);
  return tr("On: what plays is heard on %1, and by whoever reads the Bridge").arg(output);
}

void SystemAudioCard::refreshDevices() {
  const SystemAudioState& state = model_.state();
  const QSignalBlocker quiet(device_);
  device_->clear();
  device_->addItem(tr("Default output"), QString());
  int chosen = 0;
  for (const SystemAudioState::Device& device : state.devices) {
    device_->addItem(QString::fromStdString(device.name), QString::fromStdString(device.id));
    if (device.isChosen && !state.isFollowing) chosen = device_->count() - 1;
  }
  if (!state.isFollowing && chosen == 0 && !state.output.empty()) {
    device_->addItem(tr("%1 (not connected)").arg(QString::fromStdString(state.outputName)),
                     QString::fromStdString(state.output));
    chosen = device_->count() - 1;
  }
  device_->setCurrentIndex(chosen);
}

void SystemAudioCard::refresh() {
  const SystemAudioState& state = model_.state();
  enabled_->setChecked(state.isEnabled);
  state_->setText(stateText());
  refreshDevices();
  const RouteRow route = status_.route(kRoute);
  const QString problem = QString::fromStdString(state.error       ? *state.error
                                                 : state.isEnabled ? route.advice
                                                                   : std::string());
  problem_->say(problem, state.error.has_value());
}

}  // namespace sonmere
