#include "ui/widgets/MonitorStrip.h"

#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QToolButton>

#include "ui/model/MonitorModel.h"
#include "ui/theme/Icons.h"
#include "ui/theme/Theme.h"
#include "ui/widgets/NoteLabel.h"

namespace sonmere {

MonitorStrip::MonitorStrip(MonitorModel& model, QWidget* parent)
    : QFrame(parent),
      model_(model),
      enabled_(new QToolButton),
      device_(new QComboBox),
      voice_(new QToolButton),
      note_(new NoteLabel) {
  auto* layout = new QGridLayout(this);
  layout->setContentsMargins(kGrid, 0, kGrid, kGrid);
  layout->setHorizontalSpacing(kGrid);
  enabled_->setCheckable(true);
  enabled_->setText(tr("Monitor"));
  enabled_->setToolTip(tr("Hear what is routed, where its headphones are on"));
  enabled_->setIcon(themedIcon(QStringLiteral("headphones")));
  enabled_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  device_->setAccessibleName(tr("Device that the monitor plays on"));
  device_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  device_->setMinimumContentsLength(12);
  voice_->setCheckable(true);
  voice_->setText(tr("Hear my mic"));
  layout->addWidget(enabled_, 0, 0);
  layout->addWidget(device_, 0, 1);
  layout->addWidget(voice_, 0, 2);
  layout->addWidget(note_, 1, 0, 1, 3);
  layout->setColumnStretch(1, 1);
  connect(enabled_, &QToolButton::clicked, &model_, &MonitorModel::setEnabled);
  connect(voice_, &QToolButton::clicked, &model_, &MonitorModel::setMicrophone);
  connect(device_, &QComboBox::activated, this, [this] { model_.select(device_->currentData().toString()); });
  connect(&model_, &MonitorModel::changed, this, &MonitorStrip::refresh);
  connect(&model_, &MonitorModel::answered, this, &MonitorStrip::say);
  refresh();
}

// The chosen one also while it is away.
void MonitorStrip::refreshDevices() {
  const MonitorState& state = model_.state();
  const QSignalBlocker quiet(device_);
  device_->clear();
  device_->addItem(tr("Default output"), QString());
  int chosen = 0;
  for (const MonitorDeviceState& device : state.devices) {
    device_->addItem(QString::fromStdString(device.name), QString::fromStdString(device.id));
    if (device.isChosen) chosen = device_->count() - 1;
  }
  if (!state.isFollowing && chosen == 0) {
    device_->addItem(tr("%1 (not connected)").arg(QString::fromStdString(state.device)));
    chosen = device_->count() - 1;
  }
  device_->setCurrentIndex(chosen);
}

void MonitorStrip::refresh() {
  const MonitorState& state = model_.state();
  enabled_->setChecked(state.isEnabled);
  voice_->setChecked(state.hearsMicrophone);
  refreshDevices();
  if (state.error)
    say(QString::fromStdString(*state.error), true);
  else if (showsError_)
    say({}, false);
  showsError_ = state.error.has_value();
}

void MonitorStrip::say(const QString& text, bool isRefusal) { note_->say(text, isRefusal); }

}  // namespace sonmere
