#include "ui/tray/Popover.h"

#include <QGridLayout>
#include <QGuiApplication>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QToolButton>
#include <algorithm>

#include "ui/model/AppsModel.h"
#include "ui/model/RecordingModel.h"
#include "ui/theme/Icons.h"
#include "ui/theme/Theme.h"
#include "ui/widgets/ElidedLabel.h"
#include "ui/widgets/GainSlider.h"

namespace sonmere {
namespace {

constexpr int kWidth = 340;
constexpr std::size_t kMostRows = 8;
constexpr float kMostGain = 4;
constexpr float kMostMasterGain = 2;

}  // namespace

Popover::Popover(AppsModel& apps, RecordingModel& recording, QWidget* parent)
    : QFrame(parent, Qt::Popup),
      apps_(apps),
      recording_(recording),
      list_(new QVBoxLayout),
      empty_(new QLabel(tr("Nothing plays."))),
      master_(new GainSlider),
      record_(new QPushButton) {
  setFrameShape(QFrame::StyledPanel);
  setFixedWidth(kWidth);
  setAccessibleName(tr("Sonmere"));
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(kGrid, kGrid, kGrid, kGrid);
  layout->setSpacing(kGrid);
  list_->setSpacing(kGrid / 2);
  layout->addLayout(list_);
  empty_->setForegroundRole(QPalette::PlaceholderText);
  layout->addWidget(empty_);
  auto* whole = new QHBoxLayout;
  auto* name = new QLabel(tr("All"));
  name->setFixedWidth(96);
  master_->setAccessibleName(tr("Master volume"));
  whole->addWidget(name);
  whole->addWidget(master_, 1);
  layout->addLayout(whole);
  auto* bottom = new QHBoxLayout;
  auto* window = new QPushButton(tr("Open Sonmere"));
  bottom->addWidget(record_);
  bottom->addStretch(1);
  bottom->addWidget(window);
  layout->addLayout(bottom);
  connect(master_, &GainSlider::gainChosen, &apps_, &AppsModel::setMasterVolume);
  connect(record_, &QPushButton::clicked, this, &Popover::recordWanted);
  connect(window, &QPushButton::clicked, this, [this] {
    hide();
    emit windowWanted();
  });
  connect(&apps_, &AppsModel::appsChanged, this, &Popover::refresh);
  connect(&apps_, &AppsModel::mixerChanged, this, &Popover::refresh);
  connect(&recording_, &RecordingModel::changed, this, &Popover::refreshRecording);
  refresh();
  refreshRecording();
}

Popover::Row Popover::makeRow(const QString& id) {
  Row row{new QWidget, new ElidedLabel, new GainSlider, new QToolButton};
  auto* layout = new QHBoxLayout(row.whole);
  layout->setContentsMargins(0, 0, 0, 0);
  row.name->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
  row.name->setFixedWidth(96);
  row.mute->setCheckable(true);
  layout->addWidget(row.name);
  layout->addWidget(row.slider, 1);
  layout->addWidget(row.mute);
  connect(row.slider, &GainSlider::gainChosen, this, [this, id](float gain) { apps_.setVolume(id, gain); });
  connect(row.mute, &QToolButton::clicked, this, [this, id](bool on) { apps_.setMuted(id, on); });
  return row;
}

void Popover::refresh() {
  std::vector<QString> playing;
  for (const AppState& app : apps_.apps()) {
    if (!app.isRunning || app.isHidden || playing.size() == kMostRows) continue;
    const QString id = QString::fromStdString(app.id);
    playing.push_back(id);
    auto found = rows_.find(id);
    if (found == rows_.end()) {
      found = rows_.emplace(id, makeRow(id)).first;
      list_->addWidget(found->second.whole);
    }
    Row& row = found->second;
    const QString name = QString::fromStdString(app.name);
    row.name->setText(name);
    row.slider->setMaximumGain(apps_.mixer().boostAllowed ? kMostGain : 1);
    row.slider->showGain(app.volume);
    row.slider->setAccessibleName(tr("Volume of %1").arg(name));
    row.slider->setEnabled(app.control != "direct");
    row.mute->setChecked(app.isMuted);
    row.mute->setIcon(themedIcon(app.isMuted ? QStringLiteral("speaker-off") : QStringLiteral("speaker")));
    row.mute->setAccessibleName(tr("Mute %1").arg(name));
    row.mute->setToolTip(tr("Mute %1").arg(name));
  }
  std::erase_if(rows_, [&](const auto& each) {
    const bool isGone = std::ranges::find(playing, each.first) == playing.end();
    if (isGone) each.second.whole->deleteLater();
    return isGone;
  });
  empty_->setVisible(playing.empty());
  master_->setMaximumGain(apps_.mixer().boostAllowed ? kMostMasterGain : 1);
  master_->showGain(apps_.mixer().masterVolume);
  master_->setEnabled(apps_.mixer().isEnabled);
}

void Popover::refreshRecording() {
  const bool runs = !recording_.running().empty();
  record_->setText(runs ? tr("Stop recording") : tr("Record"));
  record_->setIcon(
      themedIcon(runs ? QStringLiteral("stop") : QStringLiteral("record"), ColourRole::dangerText));
}

void Popover::showAt(QPoint place) {
  adjustSize();
  const QScreen* screen = QGuiApplication::screenAt(place);
  const QRect area = (screen ? screen : QGuiApplication::primaryScreen())->availableGeometry();
  const int x =
      std::clamp(place.x() - width() / 2, area.left(), std::max(area.left(), area.right() - width()));
  const int below = place.y() + kGrid;
  const int y =
      below + height() <= area.bottom() ? below : std::max(area.top(), place.y() - height() - kGrid);
  move(x, y);
  show();
}

}  // namespace sonmere
