#include "ui/tray/Tray.h"

#include <QApplication>
#include <QCursor>
#include <QMenu>

#include "ui/MainWindow.h"
#include "ui/model/Models.h"
#include "ui/theme/Icons.h"
#include "ui/tray/Popover.h"

namespace sonmere {

Tray::Tray(Models& models, MainWindow& window)
    : models_(models),
      window_(window),
      menu_(std::make_unique<QMenu>()),
      popover_(std::make_unique<Popover>(models.apps(), models.recording())) {
  menu_->addAction(tr("Open Sonmere"), &window_, &MainWindow::comeForward);
  record_ = menu_->addAction(QString(), this, &Tray::toggleRecording);
  menu_->addSeparator();
  menu_->addAction(tr("Quit Sonmere"), &window_, &MainWindow::beginQuit);
  icon_.setContextMenu(menu_.get());
  connect(&icon_, &QSystemTrayIcon::activated, this, &Tray::activated);
  connect(popover_.get(), &Popover::windowWanted, &window_, &MainWindow::comeForward);
  connect(popover_.get(), &Popover::recordWanted, this, &Tray::toggleRecording);
  connect(&models_.recording(), &RecordingModel::changed, this, &Tray::refresh);
  connect(&models_.link(), &ServiceLink::stateChanged, this, &Tray::refresh);
  refresh();
  icon_.show();
  // With an icon to come back by, the window may go.
  QApplication::setQuitOnLastWindowClosed(!isThere());
}

Tray::~Tray() { icon_.hide(); }

void Tray::activated(QSystemTrayIcon::ActivationReason reason) {
  if (reason == QSystemTrayIcon::DoubleClick) return window_.comeForward();
  if (reason != QSystemTrayIcon::Trigger) return;
  const QRect place = icon_.geometry();
  popover_->showAt(place.isValid() ? place.center() : QCursor::pos());
}

void Tray::toggleRecording() {
  models_.recording().running().empty() ? models_.recording().startAgain() : models_.recording().stopAll();
}

void Tray::refresh() {
  const bool records = !models_.recording().running().empty();
  const bool isGone = models_.link().state() != ServiceLink::State::connected;
  record_->setText(records ? tr("Stop recording") : tr("Record"));
  record_->setEnabled(!isGone);
  icon_.setIcon(themedIcon(records ? QStringLiteral("record") : QStringLiteral("sonmere"),
                           isGone    ? ColourRole::dimText
                           : records ? ColourRole::dangerText
                                     : ColourRole::accent));
  icon_.setToolTip(isGone    ? tr("Sonmere is not running.")
                   : records ? tr("Sonmere records %n file(s).", nullptr,
                                  static_cast<int>(models_.recording().running().size()))
                             : tr("Sonmere"));
}

}  // namespace sonmere
