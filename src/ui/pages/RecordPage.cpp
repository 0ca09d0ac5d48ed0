#include "ui/pages/RecordPage.h"

#include <QCheckBox>
#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QStorageInfo>
#include <QTableWidget>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

#include "audio/device/BusTable.h"
#include "ui/model/RecordingModel.h"
#include "ui/theme/Icons.h"
#include "ui/theme/Theme.h"

namespace sonmere {
namespace {

// A bus in stereo at 48 kHz and 16 bits, an hour of it.
constexpr double kBytesPerHour = 48000.0 * 2 * 2 * 3600;

QString clockText(double seconds) {
  const auto whole = static_cast<qint64>(seconds);
  return QStringLiteral("%1:%2:%3")
      .arg(whole / 3600)
      .arg(whole / 60 % 60, 2, 10, QLatin1Char('0'))
      .arg(whole % 60, 2, 10, QLatin1Char('0'));
}

}  // namespace

RecordPage::RecordPage(RecordingModel& model, QWidget* parent)
    : QWidget(parent),
      model_(model),
      button_(new QPushButton),
      time_(new QLabel),
      room_(new QLabel),
      note_(new QLabel),
      choices_(new QVBoxLayout),
      files_(new QTableWidget(0, 4)) {
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
  top->addWidget(time_);
  top->addStretch(1);
  top->addWidget(room_);
  layout->addLayout(top);
  layout->addWidget(note_);
  auto* middle = new QHBoxLayout;
  middle->addLayout(choices_);
  middle->addWidget(files_, 1);
  layout->addLayout(middle, 1);
  choices_->addStretch(1);
  room_->setForegroundRole(QPalette::PlaceholderText);
  note_->setWordWrap(true);
  note_->setTextFormat(Qt::PlainText);
  files_->setHorizontalHeaderLabels({tr("Bus"), tr("Time"), tr("Size"), tr("File")});
  files_->horizontalHeader()->setStretchLastSection(true);
  files_->verticalHeader()->hide();
  files_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  files_->setAccessibleName(tr("Files that are being recorded"));
  connect(button_, &QPushButton::clicked, this, &RecordPage::toggle);
  connect(&model_, &RecordingModel::changed, this, &RecordPage::refresh);
  connect(&model_, &RecordingModel::answered, this, &RecordPage::say);
  connect(&model_, &RecordingModel::finished, this,
          [this](const QString& path) { say(tr("Saved as %1").arg(path), false); });
  refresh();
}

void RecordPage::setBuses(const std::vector<RouteTarget>& buses) {
  const bool first = buses_.empty();
  for (const RouteTarget& bus : buses) {
    const int number = bus.key.toInt();
    auto found = std::ranges::find(buses_, number, &Choice::bus);
    if (found == buses_.end()) {
      auto* box = new QCheckBox;
      auto* line = new QHBoxLayout;
      line->addWidget(box, 1);
      if (number != kBridgeBus) {
        auto* rename = new QToolButton;
        rename->setAutoRaise(true);
        rename->setIcon(themedIcon(QStringLiteral("rename"), ColourRole::dimText));
        rename->setToolTip(tr("Rename"));
        rename->setAccessibleName(tr("Rename %1").arg(bus.name));
        connect(rename, &QToolButton::clicked, this, [this, number] { emit renameWanted(number); });
        line->addWidget(rename);
      }
      choices_->insertLayout(static_cast<int>(buses_.size()), line);
      found = buses_.insert(buses_.end(), {number, {}, box});
    }
    found->name = bus.name;
    found->box->setText(bus.name);
  }
  if (first && !buses_.empty()) buses_.front().box->setChecked(true);
}

void RecordPage::setFolder(const QString& folder) {
  folder_ = folder;
  refresh();
}

void RecordPage::toggle() {
  if (!model_.running().empty()) return model_.stopAll();
  std::set<int> chosen;
  for (const Choice& choice : buses_) {
    if (choice.box->isChecked()) chosen.insert(choice.bus);
  }
  if (chosen.empty()) return say(tr("Choose what to record: tick a bus."), true);
  say({}, false);
  model_.start(chosen);
}

QString RecordPage::nameOf(int bus) const {
  const auto found = std::ranges::find(buses_, bus, &Choice::bus);
  return found == buses_.end() ? QString::number(bus) : found->name;
}

QString RecordPage::roomText() const {
  if (folder_.isEmpty()) return {};
  const QStorageInfo drive(folder_);
  if (!drive.isValid()) return {};
  const double hours = static_cast<double>(drive.bytesAvailable()) / kBytesPerHour;
  return tr("Room for %1 hours of one bus").arg(QLocale().toString(hours, 'f', hours < 10 ? 1 : 0));
}

void RecordPage::refresh() {
  const auto& running = model_.running();
  button_->setText(running.empty() ? tr("Record") : tr("Stop"));
  button_->setIcon(
      themedIcon(QStringLiteral("record"), running.empty() ? ColourRole::text : ColourRole::dangerText));
  double seconds = 0;
  for (const RecordingState& recording : running) seconds = std::max(seconds, recording.seconds);
  time_->setText(running.empty() ? QString() : clockText(seconds));
  room_->setText(roomText());
  for (const Choice& choice : buses_) choice.box->setEnabled(running.empty());
  files_->setRowCount(static_cast<int>(running.size()));
  for (std::size_t i = 0; i < running.size(); ++i) {
    const RecordingState& recording = running[i];
    const QString texts[] = {nameOf(recording.bus), clockText(recording.seconds),
                             QLocale().formattedDataSize(recording.bytes),
                             QFileInfo(QString::fromStdString(recording.path)).fileName()};
    for (int column = 0; column < 4; ++column) {
      auto* item = files_->item(static_cast<int>(i), column);
      if (!item) files_->setItem(static_cast<int>(i), column, item = new QTableWidgetItem);
      if (item->text() != texts[column]) item->setText(texts[column]);
    }
  }
  files_->setVisible(!running.empty());
}

void RecordPage::say(const QString& text, bool isRefusal) {
  QPalette colours = note_->palette();
  colours.setColor(QPalette::WindowText, themed(isRefusal ? ColourRole::dangerText : ColourRole::text));
  note_->setPalette(colours);
  note_->setText(text);
  note_->setVisible(!text.isEmpty());
}

}  // namespace sonmere
