#include "ui/MainWindow.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QGridLayout>
#include <QMenu>
#include <QMimeData>
#include <QStackedWidget>
#include <QUrl>

#include "ui/QuitFlow.h"
#include "ui/UnfinishedWork.h"
#include "ui/model/Models.h"
#include "ui/pages/AppsPage.h"
#include "ui/pages/GuidePage.h"
#include "ui/pages/InputPage.h"
#include "ui/pages/LibraryStack.h"
#include "ui/pages/ProfilesPage.h"
#include "ui/pages/RecordPage.h"
#include "ui/pages/SettingsPage.h"
#include "ui/pages/StatusPage.h"
#include "ui/pages/SystemPage.h"
#include "ui/sheets/Greeting.h"
#include "ui/sheets/NameSheet.h"
#include "ui/sheets/PluginSheet.h"
#include "ui/theme/Icons.h"
#include "ui/widgets/Banner.h"
#include "ui/widgets/Sheet.h"
#include "ui/widgets/SideBar.h"

namespace sonmere {
namespace {

constexpr int kFoldWidth = 840;

}  // namespace

MainWindow::MainWindow(Models& models, Workbench& workbench, QWidget* parent)
    : QMainWindow(parent),
      models_(models),
      sideBar_(new SideBar),
      pages_(new QStackedWidget),
      banner_(new Banner),
      apps_(new AppsPage(models.apps(), models.monitor())),
      input_(new InputPage(models.input())),
      record_(new RecordPage(models.recording(), models.buses(), models.monitor())),
      library_(new LibraryStack(workbench, models.link())) {
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
  addPage(QStringLiteral("input"), tr("Input"), input_);
  addPage(QStringLiteral("system"), tr("System"),
          new SystemPage({models.system(), models.mix(), models.daw(), models.combined(), models.monitor(),
                          models.buses(), models.status()}));
  addPage(
      QStringLiteral("profiles"), tr("Profiles"),
      new ProfilesPage({models.rules(), models.profiles(), models.apps(), models.buses(), models.status()},
                       models.presets()));
  addPage(QStringLiteral("record"), tr("Record"), record_);
  addPage(QStringLiteral("library"), tr("Library"), library_);
  addPage(QStringLiteral("status"), tr("Status"), new StatusPage(models.status()));
  addPage(QStringLiteral("settings"), tr("Settings"), new SettingsPage(models.settings()));
  guide_ = new GuidePage;
  addPage(QStringLiteral("help"), tr("Guide"), guide_);
  connect(sideBar_, &SideBar::chosen, pages_, &QStackedWidget::setCurrentIndex);
  connect(pages_, &QStackedWidget::currentChanged, this, &MainWindow::refreshMeters);
  connect(apps_, &AppsPage::testSoundWanted, this, &MainWindow::testSoundWanted);
  connect(banner_, &Banner::actionChosen, this, &MainWindow::serviceWanted);
  connect(&models_.link(), &ServiceLink::stateChanged, this, &MainWindow::refreshState);
  showPage(0);
  refreshState();
  connect(&models.status(), &StatusModel::changed, this, &MainWindow::refreshState);
  connect(&models.buses(), &BusesModel::changed, this, &MainWindow::refreshBuses);
  connect(&models.status(), &StatusModel::changed, this, &MainWindow::refreshBuses);
  connect(record_, &RecordPage::renameWanted, this, &MainWindow::renameBus);
  connect(apps_, &AppsPage::pluginsWanted, this,
          [this](const QString& id, const QString& name) { showPlugins(QStringLiteral("app:") + id, name); });
  connect(record_, &RecordPage::pluginsWanted, this,
          [this](int bus) { showPlugins(QStringLiteral("bus:%1").arg(bus), models_.buses().nameOf(bus)); });
  connect(input_, &InputPage::pluginsWanted, this,
          [this] { showPlugins(QStringLiteral("mic"), tr("the microphone")); });
  connect(&models.recording(), &RecordingModel::finished, this, [this](const QString& path) {
    finished_ = path;
    offerName();
  });
  connect(&models.recording(), &RecordingModel::changed, this, &MainWindow::offerName);
  connect(library_, &LibraryStack::wanted, this, [this] { showPage(pages_->indexOf(library_)); });
  setAcceptDrops(true);
  buildMenu();
  refreshBuses();
  resize(1040, 720);
}

int MainWindow::pageCount() const { return pages_->count(); }

QString MainWindow::pageName(int page) const { return names_.at(page); }

void MainWindow::showPage(int page) {
  sideBar_->select(page);
  pages_->setCurrentIndex(page);
}

void MainWindow::greet(const QString& sheet) {
  if (Sheet* greeting = greetingSheet(sheet, centralWidget())) greeting->open();
}

// A window that nobody sees needs no meters, and neither does a page without.
void MainWindow::refreshMeters() {
  const QWidget* page = pages_->currentWidget();
  const bool shows = isVisible() && !isMinimized() && (page == apps_ || page == input_ || page == record_);
  models_.link().wantMeters(this, shows);
}

void MainWindow::showEvent(QShowEvent* event) {
  QMainWindow::showEvent(event);
  refreshMeters();
}

void MainWindow::hideEvent(QHideEvent* event) {
  QMainWindow::hideEvent(event);
  refreshMeters();
}

// One that only hides, with an icon to come back by, goes on with its work.
void MainWindow::closeEvent(QCloseEvent* event) {
  const bool ends = QApplication::quitOnLastWindowClosed();
  event->setAccepted(!ends || quit_->mayClose(unfinishedWorkIn(*this)));
}

void MainWindow::changeEvent(QEvent* event) {
  QMainWindow::changeEvent(event);
  if (event->type() == QEvent::WindowStateChange) refreshMeters();
}

void MainWindow::addPage(const QString& icon, const QString& name, QWidget* page) {
  sideBar_->addPage(icon, name);
  pages_->addWidget(page);
  names_ << icon;
}

void MainWindow::refreshState() {
  using State = ServiceLink::State;
  const State state = models_.link().state();
  // Work on files needs no service.
  for (int page = 0; page < pages_->count(); ++page) {
    QWidget* widget = pages_->widget(page);
    widget->setEnabled(state == State::connected || widget == library_ || widget == guide_);
  }
  const QString& reason = models_.link().reason();
  const QString& text =
      reason.isEmpty() && state == State::connected ? models_.status().versionNote() : reason;
  banner_->tell(text, state == State::gone ? tr("Start Sonmere") : QString());
}

void MainWindow::buildMenu() {
  quit_ = new QuitFlow(models_.link(), models_.recording(), *centralWidget());
  quit_->setParent(this);
  connect(quit_, &QuitFlow::done, this, &MainWindow::quitDone);
  connect(quit_, &QuitFlow::windowOnly, this, &QWidget::close);
  auto* menu = new QMenu(this);
  menu->addAction(tr("Guide"), QKeySequence::HelpContents, this, &MainWindow::openGuide);
  menu->addAction(tr("Keys"), QKeySequence(Qt::SHIFT | Qt::Key_F1), this, &MainWindow::keysWanted);
  menu->addAction(tr("Close the window"), QKeySequence::Close, this, &QWidget::close);
  menu->addAction(tr("Quit Sonmere"), QKeySequence(Qt::CTRL | Qt::Key_Q), this, &MainWindow::beginQuit);
  addActions(menu->actions());
  sideBar_->setMenu(menu);
}

// At the place that fits where one is.
void MainWindow::openGuide() {
  const QWidget* page = pages_->currentWidget();
  if (page == guide_) return;
  guide_->open(page == library_ && library_->editor() ? QStringLiteral("keys")
               : page == library_ || page == record_  ? QStringLiteral("podcast")
                                                      : QStringLiteral("start"));
  showPage(pages_->indexOf(guide_));
}

void MainWindow::beginQuit() {
  if (!models_.recording().running().empty() || !allUnfinishedWork().isEmpty()) comeForward();
  quit_->begin();
}

void MainWindow::comeForward() {
  isMinimized() ? showNormal() : show();
  raise();
  activateWindow();
}

void MainWindow::openFiles(const QStringList& files) {
  comeForward();
  if (!files.isEmpty()) library_->openFiles(files);
}

// The name of the last one is offered once all have been completed.
void MainWindow::offerName() {
  if (finished_.isEmpty() || !models_.recording().running().empty()) return;
  const QString path = std::exchange(finished_, {});
  if (!centralWidget()->findChild<Sheet*>()) library_->offerName(path, centralWidget());
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
  if (event->mimeData()->hasUrls()) event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event) {
  QStringList files;
  for (const QUrl& url : event->mimeData()->urls()) files << url.toLocalFile();
  event->acceptProposedAction();
  openFiles(files);
}

void MainWindow::showPlugins(const QString& scope, const QString& name) {
  auto* sheet = new PluginSheet(models_.plugins(), scope, name, centralWidget());
  sheet->open();
}

void MainWindow::renameBus(int bus) {
  BusesModel& buses = models_.buses();
  auto* sheet = new NameSheet(tr("Name of %1").arg(buses.nameOf(bus)),
                              tr("Commands know the Track by this name too. An empty name is its own again."),
                              buses.givenName(bus), centralWidget());
  connect(sheet, &NameSheet::chosen, &buses, [&buses, bus](const QString& name) { buses.rename(bus, name); });
  connect(&buses, &BusesModel::answered, sheet, [sheet](const QString& text, bool isRefusal) {
    isRefusal ? sheet->refuse(text) : sheet->dismiss();
  });
  sheet->open();
}

void MainWindow::refreshBuses() {
  const std::vector<RouteTarget>& buses = models_.buses().routable();
  std::vector<RouteTarget> targets = {{tr("As it is"), tr("Default output"), QStringLiteral("default")},
                                      {tr("As it is"), tr("Direct, untouched"), QStringLiteral("direct")}};
  targets.insert(targets.end(), buses.begin(), buses.end());
  for (const DeviceState& device : models_.status().devices())
    if (device.outputs > 0 && !device.isOwn)
      targets.push_back({tr("Only on this device"), QString::fromStdString(device.name),
                         kDeviceTarget + QString::fromStdString(device.id)});
  apps_->setTargets(targets);
  input_->setBuses(buses);
}

void MainWindow::resizeEvent(QResizeEvent* event) {
  QMainWindow::resizeEvent(event);
  sideBar_->setFolded(width() < kFoldWidth);
}

}  // namespace sonmere
