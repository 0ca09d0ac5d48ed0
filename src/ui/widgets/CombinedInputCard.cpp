#include "ui/widgets/CombinedInputCard.h"

#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <algorithm>
#include <set>

#include "audio/device/BusTable.h"
#include "ui/model/CombinedInputModel.h"
#include "ui/model/StatusModel.h"
#include "ui/widgets/NoteLabel.h"
#include "ui/widgets/PageLayouts.h"

namespace sonmere {
namespace {

constexpr int kLinesShown = 4;

QString channelsText(const DAWState::Member& member) {
  if (member.channels == 0) return CombinedInputCard::tr("not connected");
  if (member.channels == 1) return CombinedInputCard::tr("channel %1").arg(member.first);
  return CombinedInputCard::tr("channels %1 to %2").arg(member.first).arg(member.first + member.channels - 1);
}

bool canBeCombined(const DeviceState& device) {
  return device.inputs > 0 && device.id != kCombinedInputUID && device.id != kDAWDeviceUID;
}

}  // namespace

CombinedInputCard::CombinedInputCard(CombinedInputModel& model, StatusModel& status, QWidget* parent)
    : QGroupBox(tr("Combined input"), parent),
      model_(model),
      status_(status),
      state_(wordsLabel()),
      devices_(new QListWidget),
      name_(new QLineEdit),
      separate_(new QPushButton(tr("Separate"))),
      problem_(new NoteLabel),
      note_(new NoteLabel) {
  QGridLayout* layout = gridIn(this);
  devices_->setAccessibleName(tr("Inputs to combine"));
  devices_->setSelectionMode(QAbstractItemView::NoSelection);
  devices_->setFixedHeight(kLinesShown * (devices_->fontMetrics().height() + kGrid));
  name_->setPlaceholderText(tr("Name of the device"));
  name_->setAccessibleName(tr("Name of the combined device"));
  auto* combine = new QPushButton(tr("Combine"));
  layout->addWidget(state_, 0, 0, 1, 3);
  layout->addWidget(devices_, 1, 0, 1, 3);
  layout->addWidget(name_, 2, 0);
  layout->addWidget(combine, 2, 1);
  layout->addWidget(separate_, 2, 2);
  layout->addWidget(problem_, 3, 0, 1, 3);
  layout->addWidget(note_, 4, 0, 1, 3);
  layout->setColumnStretch(0, 1);
  connect(combine, &QPushButton::clicked, this, &CombinedInputCard::combine);
  connect(separate_, &QPushButton::clicked, &model_, &CombinedInputModel::separate);
  connect(&model_, &CombinedInputModel::changed, this, &CombinedInputCard::refresh);
  connect(&model_, &CombinedInputModel::answered, note_, &NoteLabel::say);
  connect(&status_, &StatusModel::changed, this, &CombinedInputCard::refreshDevices);
  refresh();
}

void CombinedInputCard::combine() {
  QStringList chosen;
  for (int i = 0; i < devices_->count(); ++i)
    if (const QListWidgetItem* item = devices_->item(i); item->checkState() == Qt::Checked)
      chosen << item->data(Qt::UserRole).toString();
  model_.combine(chosen, name_->text().trimmed());
}

QString CombinedInputCard::stateText() const {
  const auto& combined = model_.state();
  if (!combined)
    return tr("Several microphones as one device, each on channels of its own. Choose two or more.");
  QStringList members;
  for (const DAWState::Member& member : combined->members)
    members << tr("%1: %2").arg(QString::fromStdString(member.name), channelsText(member));
  const QString name = QString::fromStdString(combined->name);
  return (combined->isPresent ? tr("\"%1\" is there. %2") : tr("\"%1\" is not there. %2"))
      .arg(name, members.join(QStringLiteral("; ")));
}

// What the user has ticked and not combined yet stays ticked when a device comes or goes.
void CombinedInputCard::refreshDevices() {
  std::set<QString> ticked;
  for (int i = 0; i < devices_->count(); ++i)
    if (devices_->item(i)->checkState() == Qt::Checked)
      ticked.insert(devices_->item(i)->data(Qt::UserRole).toString());
  std::vector<std::pair<QString, QString>> wanted;
  for (const DeviceState& device : status_.devices())
    if (canBeCombined(device))
      wanted.emplace_back(QString::fromStdString(device.id), QString::fromStdString(device.name));
  const int row = devices_->currentRow();
  devices_->clear();
  for (const auto& [id, name] : wanted) {
    auto* item = new QListWidgetItem(name, devices_);
    item->setData(Qt::UserRole, id);
    item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
    item->setCheckState(ticked.contains(id) ? Qt::Checked : Qt::Unchecked);
  }
  devices_->setCurrentRow(std::min(row, devices_->count() - 1));
}

void CombinedInputCard::refresh() {
  const auto& combined = model_.state();
  state_->setText(stateText());
  separate_->setEnabled(combined.has_value());
  problem_->say(combined ? QString::fromStdString(combined->error.value_or("")) : QString(), true);
  refreshDevices();
  if (!combined) return;
  for (int i = 0; i < devices_->count(); ++i) {
    const std::string id = devices_->item(i)->data(Qt::UserRole).toString().toStdString();
    const bool isMember =
        std::ranges::find(combined->members, id, &DAWState::Member::id) != combined->members.end();
    if (isMember) devices_->item(i)->setCheckState(Qt::Checked);
  }
}

}  // namespace sonmere
