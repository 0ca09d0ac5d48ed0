#include "ui/QuitFlow.h"

#include <QPushButton>

#include "ui/UnfinishedWork.h"
#include "ui/model/RecordingModel.h"
#include "ui/model/ServiceLink.h"
#include "ui/widgets/Sheet.h"

namespace sonmere {

QuitFlow::QuitFlow(ServiceLink& link, RecordingModel& recording, QWidget& content)
    : link_(link), recording_(recording), content_(content) {
  connect(&link_, &ServiceLink::stateChanged, this, &QuitFlow::stateChanged);
}

void QuitFlow::begin() {
  // A sheet that asks for a name is no reason to stay: what it is about keeps the one it has.
  for (Sheet* open : content_.findChildren<Sheet*>()) {
    if (!open->isBusy()) open->dismiss();
  }
  const QStringList unfinished = allUnfinishedWork();
  if (unfinished.isEmpty()) return proceed();
  warn(unfinished, tr("Quit Sonmere?"), tr("Quit, and lose it"), &QuitFlow::proceed);
}

bool QuitFlow::mayClose(const QStringList& unfinished) {
  if (mayClose_ || unfinished.isEmpty()) return true;
  warn(unfinished, tr("Close the window?"), tr("Close, and lose it"), &QuitFlow::closeAnyway);
  return false;
}

void QuitFlow::closeAnyway() {
  mayClose_ = true;
  emit windowOnly();
}

void QuitFlow::warn(const QStringList& unfinished, const QString& title, const QString& goOn,
                    void (QuitFlow::*go)()) {
  if (sheet_) sheet_->dismiss();
  sheet_ = new Sheet(title, &content_);
  sheet_->addText(unfinished.join(QLatin1Char('\n')));
  connect(sheet_->addButton(goOn, false), &QPushButton::clicked, this, go);
  sheet_->addButton(tr("Stay"), true);
  sheet_->open();
}

void QuitFlow::proceed() {
  if (link_.state() != ServiceLink::State::connected) return emit done();
  recording_.running().empty() ? quit() : ask();
}

void QuitFlow::ask() {
  sheet_ = new Sheet(tr("Sonmere is recording"), &content_);
  sheet_->addText(tr(
      "%n file(s) are being recorded. They are completed before Sonmere ends, and nothing that was recorded "
      "is lost.",
      nullptr, static_cast<int>(recording_.running().size())));
  sheet_->addButton(tr("Cancel"), false);
  connect(sheet_->addButton(tr("Close the window, keep recording"), false), &QPushButton::clicked, this,
          &QuitFlow::windowOnly);
  connect(sheet_->addButton(tr("Stop and quit"), true), &QPushButton::clicked, this, &QuitFlow::quit);
  sheet_->open();
}

void QuitFlow::quit() {
  isEnding_ = true;
  const bool waits = !recording_.running().empty();
  link_.call("quit", ControlJSON::object(), [](const Outcome<ControlJSON>&) {});
  if (!waits) return;
  sheet_ = new Sheet(tr("Completing the recordings…"), &content_);
  sheet_->addText(tr("This takes a moment; where a drive hangs, eight seconds at most."));
  sheet_->open();
}

void QuitFlow::stateChanged() {
  if (isEnding_ && link_.state() != ServiceLink::State::connected) emit done();
}

}  // namespace sonmere
