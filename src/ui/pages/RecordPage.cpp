#include "ui/pages/RecordPage.h"

#include <QComboBox>
#include <QFileInfo>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QScrollArea>
#include <QStorageInfo>
#include <QVBoxLayout>
#include <algorithm>

#include "audio/device/BusTable.h"
#include "ui/model/BusesModel.h"
#include "ui/model/LibraryTree.h"
#include "ui/model/MonitorModel.h"
#include "ui/model/RecordingModel.h"
#include "ui/theme/Icons.h"
#include "ui/theme/Theme.h"
#include "ui/widgets/BusRow.h"
#include "ui/widgets/NoteLabel.h"

namespace sonmere {
namespace {

// A bus in stereo at 48 kHz and 16 bits, an hour of it.
constexpr double kBytesPerHour = 48000.0 * 2 * 2 * 3600;

}  // namespace

RecordPage::RecordPage(RecordingModel& model, BusesModel& buses, MonitorModel& monitor, QWidget* parent)
    : QWidget(parent),
      model_(model),
      buses_(buses),
      monitor_(monitor),
      button_(new QPushButton),
      time_(new QLabel),
      layout_(new QComboBox),
      layoutText_(new QLabel),
      room_(new QLabel),
      note_(new NoteLabel(ColourRole::text)),
      notices_(new QLabel),
      list_(new QVBoxLayout) {
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(2 * kGrid, 2 * kGrid, 2 * kGrid, 2 * kGrid);
  layout->setSpacing(kGrid);
  QFont large = button_->font();
  large.setPointSizeF(large.pointSizeF() * 1.5);
  button_->setFont(large);
  button_->setMinimumHeight(7 * kGrid);
  button_->setIconSize({32, 32});
  time_->setFont(large);
  auto* top = new QHBoxLayout;
  top->addWidget(button_);
  top->addSpacing(2 * kGrid);
  top->addWidget(time_);
  top->addStretch(1);
  top->addWidget(room_);
  layout->addLayout(top);
  room_->setForegroundRole(QPalette::PlaceholderText);
  notices_->setWordWrap(true);
  notices_->setTextFormat(Qt::PlainText);
  notices_->hide();
  auto* layoutRow = new QHBoxLayout;
  auto* layoutLabel = new QLabel(tr("Files of the &bridge:"));
  layoutLabel->setBuddy(layout_);
  layout_->addItem(tr("Mixed"), QStringLiteral("mixed"));
  layout_->addItem(tr("Dual mono"), QStringLiteral("dualMono"));
  layout_->addItem(tr("Separate tracks"), QStringLiteral("separateTracks"));
  layoutText_->setWordWrap(true);
  layoutText_->setTextFormat(Qt::PlainText);
  layoutText_->setForegroundRole(QPalette::PlaceholderText);
  layoutRow->addWidget(layoutLabel);
  layoutRow->addWidget(layout_);
  layoutRow->addSpacing(kGrid);
  layoutRow->addWidget(layoutText_, 1);
  layout->addLayout(layoutRow);
  connect(layout_, &QComboBox::activated, this,
          [this](int index) { model_.setLayout(layout_->itemData(index).toString()); });
  layout->addWidget(note_);
  layout->addWidget(notices_);
  buildRows();
  connect(button_, &QPushButton::clicked, this, &RecordPage::toggle);
  connect(&model_, &RecordingModel::changed, this, &RecordPage::refresh);
  connect(&model_, &RecordingModel::answered, this, &RecordPage::say);
  connect(&model_, &RecordingModel::finished, this,
          [this](const QString& path) { say(tr("Saved as %1").arg(path), false); });
  connect(&buses_, &BusesModel::changed, this, &RecordPage::refreshBuses);
  connect(&monitor_, &MonitorModel::answered, this, [this](const QString& text, bool isRefusal) {
    if (isVisible()) say(text, isRefusal);
  });
  refreshBuses();
  refresh();
}

void RecordPage::buildRows() {
  auto* content = new QWidget;
  auto* column = new QVBoxLayout(content);
  column->setContentsMargins(0, 0, 0, 0);
  list_->setSpacing(kGrid / 2);
  column->addLayout(list_);
  column->addStretch(1);
  auto* scroll = new QScrollArea;
  scroll->setWidgetResizable(true);
  scroll->setFrameShape(QFrame::NoFrame);
  scroll->setFocusPolicy(Qt::NoFocus);
  scroll->setWidget(content);
  static_cast<QVBoxLayout*>(layout())->addWidget(scroll, 1);
  for (const RouteTarget& target : buses_.routable()) {
    const int bus = target.key.toInt();
    auto* row = new BusRow(bus, bus != kBridgeBus);
    connect(row, &BusRow::renameWanted, this, &RecordPage::renameWanted);
    connect(row, &BusRow::pluginsWanted, this, &RecordPage::pluginsWanted);
    connect(row, &BusRow::monitorChosen, &monitor_, &MonitorModel::setBus);
    connect(&monitor_, &MonitorModel::changed, row,
            [this, row] { row->showMonitored(monitor_.isBusHeard(row->bus())); });
    list_->addWidget(row);
    rows_.push_back(row);
  }
  rows_.front()->choose(true);
}

void RecordPage::toggle() {
  if (!model_.running().empty()) return model_.stopAll();
  std::set<int> chosen;
  for (const BusRow* row : rows_) {
    if (row->isChosen()) chosen.insert(row->bus());
  }
  if (chosen.empty()) return say(tr("Choose what to record: tick a bus."), true);
  say({}, false);
  model_.start(chosen);
}

QString RecordPage::roomText() const {
  if (model_.folder().isEmpty()) return {};
  const QStorageInfo drive(model_.folder());
  if (!drive.isValid()) return {};
  const double hours = static_cast<double>(drive.bytesAvailable()) / kBytesPerHour;
  const QString room =
      tr("Room for %1 hours of one bus").arg(QLocale().toString(hours, 'f', hours < 10 ? 1 : 0));
  if (model_.keptSeconds() <= 0) return room;
  return room + QLatin1String("; ") + tr("the last %1 are kept").arg(clockText(model_.keptSeconds()));
}

void RecordPage::refreshBuses() {
  for (BusRow* row : rows_)
    row->showName(buses_.nameOf(row->bus()), buses_.appsIn(row->bus()).join(tr(", ")));
}

void RecordPage::refresh() {
  const auto& running = model_.running();
  button_->setText(running.empty() ? tr("Record") : tr("Stop"));
  button_->setIcon(themedIcon(running.empty() ? QStringLiteral("record") : QStringLiteral("stop"),
                              ColourRole::dangerText));
  refreshLayout();
  double seconds = 0;
  for (const RecordingState& recording : running) seconds = std::max(seconds, recording.seconds);
  time_->setText(running.empty() ? QString() : clockText(seconds));
  room_->setText(roomText());
  for (BusRow* row : rows_) {
    const auto found = std::ranges::find(running, row->bus(), &RecordingState::source);
    row->showRecording(found == running.end() ? nullptr : &*found, !running.empty());
  }
  QStringList notices = model_.notices();
  if (!model_.prerollRefusal().isEmpty()) notices << tr("Pre-roll: %1").arg(model_.prerollRefusal());
  notices_->setText(notices.join(QLatin1Char('\n')));
  notices_->setVisible(!notices.isEmpty());
  QPalette colours = notices_->palette();
  colours.setColor(QPalette::WindowText, themed(ColourRole::warningText));
  notices_->setPalette(colours);
}

QString RecordPage::layoutText() const {
  if (!model_.running().empty()) {
    QStringList names;
    for (const RecordingState& each : model_.running()) {
      if (each.source < 0)
        names << QFileInfo(QString::fromStdString(each.path))
                     .completeBaseName()
                     .section(QStringLiteral(" \u2014 "), 0, -2);
    }
    return names.isEmpty() ? QString() : tr("Beside it: %1").arg(names.join(tr(", ")));
  }
  const QString about =
      model_.layout() == QLatin1String("dualMono")
          ? tr("Records mic on Left, apps on Right in one stereo file — split in your DAW for independent "
               "processing.")
      : model_.layout() == QLatin1String("separateTracks")
          ? tr("Records Master mix + Mic (mono) + Apps (stereo) as three sample-aligned files — ideal for "
               "podcast post-production.")
          : tr("Mixed records into one stereo file. What you get depends on which sources are on.");
  if (model_.willSwitchOn().isEmpty()) return about;
  return about + QLatin1Char(' ') +
         tr("Will turn on %1 when you press Record. They'll switch back off when you stop.")
             .arg(model_.willSwitchOn().join(tr(", ")));
}

void RecordPage::refreshLayout() {
  layout_->setCurrentIndex(std::max(0, layout_->findData(model_.layout())));
  layout_->setEnabled(model_.running().empty());
  layoutText_->setText(layoutText());
}

void RecordPage::say(const QString& text, bool isRefusal) { note_->say(text, isRefusal); }

}  // namespace sonmere
