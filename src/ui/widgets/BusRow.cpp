#include "ui/widgets/BusRow.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QLocale>
#include <QToolButton>

#include "control/RecordingState.h"
#include "ui/model/LibraryTree.h"
#include "ui/theme/Icons.h"
#include "ui/theme/Theme.h"
#include "ui/widgets/ElidedLabel.h"
#include "ui/widgets/LevelHistory.h"

namespace sonmere {

BusRow::BusRow(int bus, bool canBeRenamed, QWidget* parent)
    : QFrame(parent),
      bus_(bus),
      box_(new QCheckBox),
      rename_(new QToolButton),
      plugins_(new QToolButton),
      monitor_(new QToolButton),
      apps_(new ElidedLabel),
      facts_(new QLabel),
      history_(new LevelHistory) {
  setAutoFillBackground(true);
  setBackgroundRole(QPalette::Button);
  auto* layout = new QGridLayout(this);
  layout->setContentsMargins(kGrid, kGrid / 2, kGrid, kGrid / 2);
  layout->setHorizontalSpacing(kGrid);
  rename_->setAutoRaise(true);
  rename_->setIcon(themedIcon(QStringLiteral("rename"), ColourRole::dimText));
  rename_->setToolTip(tr("Rename"));
  // What stands beside it is in line in every row.
  QSizePolicy room = rename_->sizePolicy();
  room.setRetainSizeWhenHidden(true);
  rename_->setSizePolicy(room);
  rename_->setVisible(canBeRenamed);
  connect(rename_, &QToolButton::clicked, this, [this] { emit renameWanted(bus_); });
  plugins_->setAutoRaise(true);
  plugins_->setIcon(themedIcon(QStringLiteral("effects"), ColourRole::dimText));
  plugins_->setToolTip(tr("Plug-ins…"));
  connect(plugins_, &QToolButton::clicked, this, [this] { emit pluginsWanted(bus_); });
  monitor_->setAutoRaise(true);
  monitor_->setCheckable(true);
  monitor_->setIcon(themedIcon(QStringLiteral("headphones")));
  monitor_->setToolTip(tr("Hear it on the monitor"));
  connect(monitor_, &QToolButton::clicked, this, [this](bool on) { emit monitorChosen(bus_, on); });
  apps_->setForegroundRole(QPalette::PlaceholderText);
  facts_->setMinimumWidth(facts_->fontMetrics().horizontalAdvance(QStringLiteral("0:00:00 · 1023.9 MiB")));
  facts_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
  // The longest of the usual names, so that what stands beside it is in line.
  box_->setMinimumWidth(box_->fontMetrics().horizontalAdvance(tr("Bridge")) + 14 * kGrid);
  layout->addWidget(box_, 0, 0);
  layout->addWidget(rename_, 0, 1);
  layout->addWidget(plugins_, 0, 2);
  layout->addWidget(monitor_, 0, 3);
  layout->addWidget(apps_, 0, 4);
  layout->addWidget(history_, 0, 5);
  layout->addWidget(facts_, 0, 6);
  layout->setColumnStretch(4, 2);
  layout->setColumnStretch(5, 3);
  showRecording(nullptr, false);
}

bool BusRow::isChosen() const { return box_->isChecked(); }

void BusRow::choose(bool chosen) { box_->setChecked(chosen); }

void BusRow::showName(const QString& name, const QString& apps) {
  box_->setText(name);
  plugins_->setAccessibleName(tr("Plug-ins on %1").arg(name));
  rename_->setAccessibleName(tr("Rename %1").arg(name));
  monitor_->setAccessibleName(tr("Hear %1 on the monitor").arg(name));
  history_->setAccessibleName(tr("Level of %1 so far").arg(name));
  apps_->setText(apps);
}

void BusRow::showMonitored(bool monitored) { monitor_->setChecked(monitored); }

void BusRow::showRecording(const RecordingState* recording, bool othersRun) {
  const bool begins = recording && !isRecorded_;
  isRecorded_ = recording != nullptr;
  box_->setEnabled(!recording && !othersRun);
  history_->setVisible(isRecorded_);
  facts_->setVisible(isRecorded_);
  if (begins) {
    history_->clear();
    box_->setChecked(true);
  }
  if (!recording) return;
  history_->add(static_cast<double>(recording->peakDb));
  const QString facts =
      tr("%1 · %2").arg(clockText(recording->seconds), QLocale().formattedDataSize(recording->bytes));
  facts_->setText(
      recording->lostFrames > 0
          ? tr("%1 · %n frame(s) lost", nullptr, static_cast<int>(recording->lostFrames)).arg(facts)
      : recording->isSilent ? tr("%1 · silent").arg(facts)
                            : facts);
  facts_->setToolTip(QString::fromStdString(recording->path));
}

}  // namespace sonmere
