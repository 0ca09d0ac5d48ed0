#include "ui/MainWindow.h"

#include <QGridLayout>
#include <QStackedWidget>

#include "ui/model/Models.h"
#include "ui/pages/AppsPage.h"
#include "ui/pages/RecordPage.h"
#include "ui/pages/SettingsPage.h"
#include "ui/pages/StatusPage.h"
#include "ui/theme/Icons.h"
#include "ui/widgets/Banner.h"
#include "ui/widgets/SideBar.h"

namespace sonmere {
namespace {

constexpr int kFoldWidth = 840;

}  // namespace

MainWindow::MainWindow(Models& models, QWidget* parent)
    : QMainWindow(parent),
      models_(models),
      sideBar_(new SideBar),
      pages_(new QStackedWidget),
      banner_(new Banner),
      apps_(new AppsPage(models.apps())),
      record_(new RecordPage(models.recording())) {
  setWindowTitle(tr("Sonmere"));
  setWindowIcon(themedIcon(QStringLiteral("sonmere"), ColourRole::accent));
  auto* content = new QWidget;
  auto* layout = new QGridLayout(content);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(0);
  layout->addWidget(sideBar_, 0, 0, 2, 1);
  layout->addWidget(banner_, 0, 1);
  layout->addWidget(pages_, 1, 1);
  layout->setRowStretch(1, 1);
  layout->setColumnStretch(1, 1);
  setCentralWidget(content);
  setMinimumSize(640, 480);
  addPage(QStringLiteral("apps"), tr("Apps"), apps_);
  addPage(QStringLiteral("record"), tr("Record"), record_);
  addPage(QStringLiteral("status"), tr("Status"), new StatusPage(models.status()));
  addPage(QStringLiteral("settings"), tr("Settings"), new SettingsPage(models.settings()));
  connect(sideBar_, &SideBar::chosen, pages_, &QStackedWidget::setCurrentIndex);
  connect(apps_, &AppsPage::testSoundWanted, this, &MainWindow::testSoundWanted);
  connect(banner_, &Banner::actionChosen, this, &MainWindow::serviceWanted);
  connect(&models_.link(), &ServiceLink::stateChanged, this, &MainWindow::refreshState);
  showPage(0);
  refreshState();
  setBuses(models.buses().routable());
  resize(1040, 720);
}

int MainWindow::pageCount() const { return pages_->count(); }

QString MainWindow::pageName(int page) const { return names_.at(page); }

void MainWindow::showPage(int page) {
  sideBar_->select(page);
  pages_->setCurrentIndex(page);
}

void MainWindow::addPage(const QString& icon, const QString& name, QWidget* page) {
  sideBar_->addPage(icon, name);
  pages_->addWidget(page);
  names_ << icon;
}

void MainWindow::refreshState() {
  using State = ServiceLink::State;
  const State state = models_.link().state();
  pages_->setEnabled(state == State::connected);
  banner_->tell(models_.link().reason(), state == State::gone ? tr("Start Sonmere") : QString());
}

void MainWindow::setBuses(const std::vector<RouteTarget>& buses) {
  std::vector<RouteTarget> targets = {{tr("As it is"), tr("Default output"), QStringLiteral("default")},
                                      {tr("As it is"), tr("Direct, untouched"), QStringLiteral("direct")}};
  targets.insert(targets.end(), buses.begin(), buses.end());
  apps_->setTargets(targets);
  record_->setBuses(buses);
}

void MainWindow::resizeEvent(QResizeEvent* event) {
  QMainWindow::resizeEvent(event);
  sideBar_->setFolded(width() < kFoldWidth);
}

}  // namespace sonmere
