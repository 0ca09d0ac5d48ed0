#include "ui/shots/PageShots.h"

#include <QCoreApplication>
#include <QImage>
#include <QListWidget>
#include <QTimer>
#include <QToolButton>
#include <cstdio>

#include "ui/MainWindow.h"
#include "ui/editor/EditedProject.h"
#include "ui/editor/EditorView.h"
#include "ui/launch/ServiceStarter.h"
#include "ui/model/LibraryModel.h"
#include "ui/model/Models.h"
#include "ui/pages/LibraryPage.h"
#include "ui/pages/LibraryStack.h"
#include "ui/sheets/ExportSheet.h"
#include "ui/sheets/PluginSheet.h"
#include "ui/theme/Theme.h"
#include "ui/tray/Popover.h"
#include "ui/widgets/AppRow.h"
#include "ui/widgets/PluginRow.h"
#include "ui/widgets/Sheet.h"

namespace sonmere {
namespace {

constexpr int kLookMilliseconds = 100;
constexpr int kMostLooks = 200;
// Until rows, meters and waveforms have come to rest.
constexpr int kShortSettle = 300;
constexpr int kLongSettle = 1500;
constexpr int kRecordingSettle = 4000;

void dismissSheets(QWidget& window) {
  for (Sheet* sheet : window.findChildren<Sheet*>()) {
    if (sheet->isVisible()) sheet->dismiss();
  }
}

}  // namespace

PageShots::PageShots(MainWindow& window, Models& models, ServiceStarter& service, QString folder)
    : window_(window), models_(models), service_(service), folder_(std::move(folder)) {}

PageShots::~PageShots() = default;

int PageShots::page(const QString& name) const {
  for (int i = 0; i < window_.pageCount(); ++i) {
    if (window_.pageName(i) == name) return i;
  }
  return 0;
}

void PageShots::start() {
  window_.show();
  addPages();
  addEditor();
  addSheets();
  wait();
}

void PageShots::addPages() {
  const auto show = [this](const char* name) { window_.showPage(page(QLatin1String(name))); };
  states_.push_back({QStringLiteral("apps"), [show] { show("apps"); },
                     [this] { return models_.apps().apps().size() >= 3; }, kLongSettle});
  states_.push_back({QStringLiteral("apps-effects"),
                     [this] {
                       models_.apps().setSpectrumWanted(true);
                       AppRow* row = window_.findChild<AppRow*>();
                       for (auto* button : row->findChildren<QToolButton*>()) {
                         if (button->isCheckable() && button->text() == AppRow::tr("Effects"))
                           button->setChecked(true);
                       }
                       models_.apps().setEqualiser(row->id(), {true, 120, 12000, 3000, 6, 0.9});
                     },
                     [this] { return models_.apps().isSpectrumWanted(); }, kLongSettle});
  states_.push_back(
      {QStringLiteral("record"), [show] { show("record"); }, [] { return true; }, kShortSettle});
  states_.push_back(
      {QStringLiteral("record-busy"),
       [this] {
         int bus = 2;
         for (const AppState& app : models_.apps().apps()) {
           if (bus < 5) models_.apps().setRoute(QString::fromStdString(app.id), QString::number(bus++));
         }
         models_.buses().rename(2, QStringLiteral("Guest"));
         QTimer::singleShot(kLongSettle, this, [this] { models_.recording().start({2, 3, 4}); });
       },
       [this] { return models_.recording().running().size() == 3; }, kRecordingSettle});
  states_.push_back(
      {QStringLiteral("system"),
       [this, show] {
         show("system");
         models_.mix().setEnabled(true);
         models_.daw().setEnabled(true);
       },
       [this] { return models_.mix().state().apps.size() == 3 && models_.mix().state().isEnabled; },
       kLongSettle});
  states_.push_back(
      {QStringLiteral("profiles"),
       [this, show] {
         show("profiles");
         models_.profiles().save(QStringLiteral("Podcast"));
         const std::string app = models_.apps().apps().front().id;
         models_.rules().add({RuleReason::Kind::mic, {}}, {RuleAct::Kind::volume, app, {}, 0.3f, true});
         models_.rules().add({RuleReason::Kind::app, app}, {RuleAct::Kind::profile, "Podcast", {}, 1, true});
       },
       [this] { return models_.profiles().profiles().size() == 1 && models_.rules().rules().size() == 2; },
       kLongSettle});
  states_.push_back({QStringLiteral("name"), [this] { models_.recording().stopAll(); },
                     [this] { return window_.findChild<Sheet*>() != nullptr; }, kShortSettle});
  states_.push_back({QStringLiteral("library"),
                     [this, show] {
                       dismissSheets(window_);
                       show("library");
                       window_.library().model().rescan();
                     },
                     [this] {
                       const auto& sessions = window_.library().model().sessions();
                       return !sessions.empty() && sessions.front().files.size() == 3;
                     },
                     kLongSettle});
}

void PageShots::addEditor() {
  states_.push_back({QStringLiteral("editor-session"),
                     [this] {
                       QStringList paths;
                       const RecordingSession& session = window_.library().model().sessions().front();
                       for (const RecordingFile& file : session.files)
                         paths << QString::fromStdString(file.url);
                       emit window_.library().page().editWanted(
                           paths, QString::fromStdString(session.timestampString));
                     },
                     [this] { return window_.library().editor() != nullptr; }, kLongSettle});
  states_.push_back({QStringLiteral("editor"),
                     [this] {
                       const RecordingSession& session = window_.library().model().sessions().front();
                       emit window_.library().page().editWanted(
                           {QString::fromStdString(session.files.front().url)}, {});
                       EditorEngine& track = *window_.library().editor()->project().tracks().front().engine;
                       const std::int64_t length = (*track.trimRange)->totalFrames;
                       track.setTrimStart(length / 8);
                       track.setTrimEnd(length * 7 / 8);
                       track.setFadeIn(length / 8);
                       track.setFadeOut(length / 6);
                       track.setGainDecibels(3);
                       window_.library().editor()->project().seek(length / 2);
                     },
                     [] { return true; }, kLongSettle});
  states_.push_back({QStringLiteral("export"),
                     [this] {
                       EditorView* editor = window_.library().editor();
                       for (auto* button : editor->findChildren<QToolButton*>()) {
                         if (button->text() == EditorView::tr("Export")) button->click();
                       }
                     },
                     [this] { return window_.findChild<ExportSheet*>() != nullptr; }, kShortSettle});
}

void PageShots::addSheets() {
  const auto show = [this](const char* name) {
    dismissSheets(window_);
    window_.showPage(page(QLatin1String(name)));
  };
  states_.push_back({QStringLiteral("input"), [show] { show("input"); }, [] { return true; }, kShortSettle});
  states_.push_back({QStringLiteral("plugins"),
                     [this] {
                       for (const char* uri : {"urn:sonmere:gain", "urn:sonmere:delay"})
                         models_.plugins().add(QStringLiteral("mic"), QLatin1String(uri));
                       window_.showPlugins(QStringLiteral("mic"), MainWindow::tr("the microphone"));
                     },
                     [this] {
                       const auto rows = window_.findChildren<PluginRow*>();
                       for (PluginRow* row : rows) row->openControls(true);
                       const auto* sheet = window_.findChild<PluginSheet*>();
                       const auto* found = sheet ? sheet->findChild<QListWidget*>() : nullptr;
                       return rows.size() == 2 && found && found->count() > 1;
                     },
                     kLongSettle});
  states_.push_back(
      {QStringLiteral("status"), [show] { show("status"); }, [] { return true; }, kShortSettle});
  states_.push_back(
      {QStringLiteral("settings"), [show] { show("settings"); }, [] { return true; }, kShortSettle});
  states_.push_back({QStringLiteral("guide"), [show] { show("help"); }, [] { return true; }, kShortSettle});
  states_.push_back({QStringLiteral("greeting"),
                     [this, show] {
                       show("apps");
                       window_.greet(QStringLiteral("welcome"));
                     },
                     [] { return true; }, kShortSettle});
  states_.push_back({QStringLiteral("popover"),
                     [this] {
                       dismissSheets(window_);
                       popover_ = std::make_unique<Popover>(models_.apps(), models_.recording());
                       popover_->showAt({400, 100});
                     },
                     [] { return true; }, kShortSettle});
  states_.push_back({QStringLiteral("gone"),
                     [this, show] {
                       popover_.reset();
                       show("apps");
                       service_.stop();
                     },
                     [this] { return models_.link().state() == ServiceLink::State::gone; }, kShortSettle});
}

void PageShots::next() {
  if (++at_ == states_.size()) return end(isGood_);
  looks_ = 0;
  states_[at_].begin();
  wait();
}

void PageShots::wait() {
  const State& state = states_[at_];
  if (state.isThere()) return QTimer::singleShot(state.settleMilliseconds, this, &PageShots::take);
  if (++looks_ < kMostLooks) return QTimer::singleShot(kLookMilliseconds, this, &PageShots::wait);
  std::fprintf(stderr, "sonmere-window: there was nothing to make the picture \"%s\" of.\n",
               qPrintable(state.name));
  end(false);
}

void PageShots::take() {
  const QString& state = states_[at_].name;
  for (const auto& [scheme, name] : {std::pair(ColourScheme::dark, "dark"), {ColourScheme::light, "light"}}) {
    Theme::instance().setScheme(scheme);
    if (popover_) {
      QCoreApplication::processEvents();
      isGood_ = write(*popover_, QStringLiteral("%1-%2").arg(state, QLatin1String(name)), 2) && isGood_;
      continue;
    }
    for (const QSize size : {QSize(640, 480), QSize(1040, 720)}) {
      window_.resize(size);
      QCoreApplication::processEvents();
      const QString picture = QStringLiteral("%1-%2-%3").arg(state, QLatin1String(name)).arg(size.width());
      isGood_ = write(window_, picture, 1) && isGood_;
      if (size.width() > 640) isGood_ = write(window_, picture + QStringLiteral("@2x"), 2) && isGood_;
    }
  }
  Theme::instance().setScheme(ColourScheme::dark);
  next();
}

void PageShots::end(bool good) { QCoreApplication::exit(good ? 0 : 1); }

bool PageShots::write(QWidget& widget, const QString& name, double scale) {
  QImage image(widget.size() * scale, QImage::Format_RGB32);
  image.setDevicePixelRatio(scale);
  widget.render(&image);
  const QString path = folder_ + QLatin1Char('/') + name + QStringLiteral(".png");
  if (image.save(path)) return true;
  std::fprintf(stderr, "sonmere-window: %s can't be written.\n", qPrintable(path));
  return false;
}

}  // namespace sonmere
