#include "ui/pages/AppsPage.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QShortcut>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

#include "ui/model/AppsModel.h"
#include "ui/model/MonitorModel.h"
#include "ui/model/VolumeWords.h"
#include "ui/theme/Theme.h"
#include "ui/widgets/AppRow.h"
#include "ui/widgets/EqualiserPanel.h"
#include "ui/widgets/MasterStrip.h"
#include "ui/widgets/MonitorStrip.h"
#include "ui/widgets/PageLayouts.h"

namespace sonmere {
namespace {

constexpr float kMostGain = 4;
// A desktop that brings hundreds of apps at once is shown bit by bit, and the window answers meanwhile.
constexpr int kRowsAtOnce = 12;

bool isPlaying(const AppState& app) { return app.isRunning; }

}  // namespace

AppsPage::AppsPage(AppsModel& model, MonitorModel& monitor, QWidget* parent)
    : QWidget(parent),
      model_(model),
      monitor_(monitor),
      search_(new QLineEdit),
      hiddenToo_(new QToolButton),
      list_(new QVBoxLayout),
      quietLine_(new QFrame),
      empty_(new QWidget),
      emptyText_(new QLabel),
      master_(new MasterStrip(model)) {
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(2 * kGrid, 2 * kGrid, 2 * kGrid, 0);
  layout->setSpacing(kGrid);
  buildTop();
  buildList();
  layout->addWidget(master_);
  layout->addWidget(new MonitorStrip(monitor_));
  connectSpectrum(&master_->equaliser(), QStringLiteral("output"));
  connect(&model_, &AppsModel::appsChanged, this, &AppsPage::refresh);
  connect(&model_, &AppsModel::mixerChanged, this, &AppsPage::refresh);
  connect(&monitor_, &MonitorModel::changed, this, &AppsPage::refreshMonitored);
  connect(&model_, &AppsModel::metersChanged, this, [this](const QString& id, const AppMeters& meters) {
    if (const auto found = rows_.find(id); found != rows_.end()) found->second->showMeters(meters);
  });
  connect(&model_, &AppsModel::answered, this, [this](const QString& id, const QString& text, bool refused) {
    if (const auto found = rows_.find(id); found != rows_.end()) found->second->say(text, refused);
  });
  refresh();
}

void AppsPage::buildTop() {
  auto* top = new QHBoxLayout;
  auto* title = new QLabel(tr("Apps"));
  QFont large = title->font();
  large.setPointSizeF(large.pointSizeF() * 1.5);
  title->setFont(large);
  top->addWidget(title);
  top->addStretch(1);
  search_->setPlaceholderText(tr("Search apps"));
  search_->setAccessibleName(tr("Search apps"));
  search_->setClearButtonEnabled(true);
  search_->setMaximumWidth(240);
  hiddenToo_->setText(tr("Hidden too"));
  hiddenToo_->setCheckable(true);
  top->addWidget(search_);
  top->addWidget(hiddenToo_);
  static_cast<QVBoxLayout*>(layout())->addLayout(top);
  connect(search_, &QLineEdit::textChanged, this, &AppsPage::refresh);
  connect(hiddenToo_, &QToolButton::toggled, this, &AppsPage::refresh);
  auto* find = new QShortcut(QKeySequence::Find, this);
  connect(find, &QShortcut::activated, search_, qOverload<>(&QWidget::setFocus));
}

void AppsPage::buildList() {
  auto* content = new QWidget;
  auto* column = new QVBoxLayout(content);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(kGrid / 2);
  list_->setSpacing(kGrid / 2);
  column->addLayout(list_);
  auto* emptyLayout = new QVBoxLayout(empty_);
  emptyText_->setWordWrap(true);
  emptyText_->setAlignment(Qt::AlignCenter);
  auto* test = new QPushButton(tr("Play a test sound"));
  emptyLayout->addWidget(emptyText_);
  emptyLayout->addWidget(test, 0, Qt::AlignCenter);
  connect(test, &QPushButton::clicked, this, &AppsPage::testSoundWanted);
  column->addWidget(empty_);
  column->addStretch(1);
  quietLine_->setFixedHeight(1);
  quietLine_->setAutoFillBackground(true);
  static_cast<QVBoxLayout*>(layout())->addWidget(scrolled(content), 1);
}

void AppsPage::setTargets(const std::vector<RouteTarget>& targets) {
  targets_ = targets;
  for (const auto& [id, row] : rows_) row->setTargets(targets_);
}

void AppsPage::refreshMonitored() {
  for (const auto& [id, row] : rows_) row->showMonitored(monitor_.isAppHeard(id));
}

bool AppsPage::isShown(const AppState& app) const {
  if (app.isHidden && !hiddenToo_->isChecked()) return false;
  return QString::fromStdString(app.name).contains(search_->text().trimmed(), Qt::CaseInsensitive);
}

void AppsPage::connectRow(AppRow* row) {
  connect(row, &AppRow::volumeChosen, &model_, &AppsModel::setVolume);
  connect(row, &AppRow::volumeTyped, this, &AppsPage::typeVolume);
  connect(row, &AppRow::muteChosen, &model_, &AppsModel::setMuted);
  connect(row, &AppRow::monitorChosen, &monitor_, &MonitorModel::setApp);
  connect(row, &AppRow::equaliserChosen, &model_, &AppsModel::setEqualiser);
  connect(row, &AppRow::limiterChosen, &model_, &AppsModel::setLimiter);
  connect(row, &AppRow::routeChosen, &model_, &AppsModel::setRoute);
  connect(row, &AppRow::rowChosen, &model_, &AppsModel::changeRow);
  connect(row, &AppRow::pluginsWanted, this, [this, row](const QString& id) {
    emit pluginsWanted(id, QString::fromStdString(row->app().name));
  });
  connect(row, &AppRow::effectsMade, this,
          [this](const QString& id, EqualiserPanel* panel) { connectSpectrum(panel, id); });
}

void AppsPage::connectSpectrum(EqualiserPanel* panel, const QString& of) {
  panel->showSpectrumWanted(model_.isSpectrumWanted());
  connect(panel, &EqualiserPanel::spectrumChosen, &model_, &AppsModel::setSpectrumWanted);
  connect(panel, &EqualiserPanel::looked, this, [this, of](bool begins) { lookAt(of, begins); });
  connect(&model_, &AppsModel::spectrumWantedChanged, panel,
          [this, panel] { panel->showSpectrumWanted(model_.isSpectrumWanted()); });
  connect(&model_, &AppsModel::spectrumChanged, panel,
          [panel, of](const QString& told, const std::vector<float>& bandsDb) {
            panel->showSpectrum(told == of && panel->isVisible() ? bandsDb : std::vector<float>());
          });
}

void AppsPage::lookAt(const QString& of, bool begins) {
  lookedAt_.removeAll(of);
  if (begins) lookedAt_ << of;
  model_.lookAtSpectrum(lookedAt_.isEmpty() ? QString() : lookedAt_.last());
}

AppRow* AppsPage::rowFor(const QString& id) {
  AppRow*& row = rows_[id];
  if (!row) {
    row = new AppRow(id);
    row->setTargets(targets_);
    connectRow(row);
  }
  return row;
}

void AppsPage::typeVolume(const QString& id, const QString& text) {
  const auto gain = gainFromWords(text);
  AppRow* row = rowFor(id);
  if (gain) return model_.setVolume(id, *gain);
  row->say(gain.error(), true);
  if (const AppState* app = model_.find(id)) row->showApp(*app);
}

// Rows keep the order of the service, the playing ones above a line. Only what changed its place is moved, so
// that the keyboard's focus stays where it is.
void AppsPage::refresh() {
  std::vector<QWidget*> wanted;
  std::map<QString, AppRow*> kept;
  const float most = model_.mixer().boostAllowed ? kMostGain : 1;
  int made = 0;
  const auto add = [&](bool playing) {
    for (const AppState& app : model_.apps()) {
      if (isPlaying(app) != playing || !isShown(app)) continue;
      const QString id = QString::fromStdString(app.id);
      if (!rows_.contains(id) && ++made > kRowsAtOnce) continue;
      AppRow* row = rowFor(id);
      row->setMaximumGain(most);
      row->showApp(app);
      row->showMonitored(monitor_.isAppHeard(id));
      kept[id] = row;
      wanted.push_back(row);
    }
  };
  add(true);
  const auto playing = static_cast<std::ptrdiff_t>(wanted.size());
  add(false);
  const bool both = playing > 0 && playing < std::ssize(wanted);
  if (both) wanted.insert(wanted.begin() + playing, quietLine_);
  quietLine_->setVisible(both);
  for (auto it = rows_.begin(); it != rows_.end();) {
    if (kept.contains(it->first)) {
      ++it;
    } else {
      lookAt(it->first, false);
      it->second->deleteLater();
      it = rows_.erase(it);
    }
  }
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    const int place = static_cast<int>(i);
    const QLayoutItem* there = list_->itemAt(place);
    if (!there || there->widget() != wanted[i]) list_->insertWidget(place, wanted[i]);
  }
  QPalette line = quietLine_->palette();
  line.setColor(QPalette::Window, themed(ColourRole::line));
  quietLine_->setPalette(line);
  if (made > kRowsAtOnce) QTimer::singleShot(0, this, &AppsPage::refresh);
  if (made > 0 && made <= kRowsAtOnce) tabInOrder(*this);
  empty_->setVisible(kept.empty());
  emptyText_->setText(model_.apps().empty()
                          ? tr("No audio-producing apps detected. Play audio in an app and refresh.")
                          : tr("No app fits the search."));
}

}  // namespace sonmere
