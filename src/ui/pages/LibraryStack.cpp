#include "ui/pages/LibraryStack.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <algorithm>

#include "app/AudioFileNames.h"
#include "ui/editor/EditorView.h"
#include "ui/editor/FileProject.h"
#include "ui/editor/SessionProject.h"
#include "ui/model/LibraryModel.h"
#include "ui/pages/LibraryPage.h"
#include "ui/sheets/NameSheet.h"
#include "ui/work/Workbench.h"

namespace sonmere {
namespace {

std::string bytesOf(const QString& path) { return QFile::encodeName(path).toStdString(); }

RecordingSession untitledSession(const QStringList& paths) {
  RecordingSession session;
  session.timestampString =
      QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH-mm-ss")).toStdString();
  for (const QString& path : paths) {
    RecordingFile file;
    file.url = bytesOf(path);
    file.displayName = QFileInfo(path).completeBaseName().toStdString();
    session.files.push_back(file);
  }
  return session;
}

// What stands in front of the stamp in a recording's file name.
QString displayName(const QString& path) {
  return QFileInfo(path).completeBaseName().section(QStringLiteral(" — "), 0, -2);
}

}  // namespace

LibraryStack::LibraryStack(Workbench& workbench, ServiceLink& link, QWidget* parent)
    : QStackedWidget(parent), workbench_(workbench), link_(link) {}

LibraryStack::~LibraryStack() {
  delete editor_;
  delete page_;
}

void LibraryStack::make() {
  if (page_) return;
  model_ = std::make_unique<LibraryModel>(workbench_, link_);
  page_ = new LibraryPage(*model_, workbench_);
  addWidget(page_);
  connect(page_, &LibraryPage::editWanted, this, &LibraryStack::edit);
}

LibraryModel& LibraryStack::model() { return make(), *model_; }
LibraryPage& LibraryStack::page() { return make(), *page_; }

void LibraryStack::showEvent(QShowEvent* event) {
  make();
  QStackedWidget::showEvent(event);
}

void LibraryStack::edit(const QStringList& paths, const QString& stamp) {
  if (paths.size() == 1) return openFile(paths.first());
  const auto& sessions = model_->sessions();
  const auto found = std::ranges::find(sessions, stamp.toStdString(), &RecordingSession::timestampString);
  found != sessions.end() ? openSession(*found, stamp) : openWindow(paths);
}

void LibraryStack::openFile(const QString& path) {
  make();
  auto engine = EditorEngine::open(workbench_.engines(), bytesOf(path));
  if (!engine) return emit model_->answered(QString::fromStdString(engine.error().description), true);
  show(std::make_unique<FileProject>(std::move(*engine)));
}

void LibraryStack::openSession(const RecordingSession& session, const QString& title) {
  show(std::make_unique<SessionProject>(workbench_.engines(), session, title));
}

void LibraryStack::openWindow(const QStringList& paths) {
  const QString untitled = tr("Untitled");
  showInWindow(std::make_unique<SessionProject>(workbench_.engines(), untitledSession(paths), untitled),
               QStringLiteral("Sonmere Multi-Track Editor — %1").arg(untitled));
}

void LibraryStack::showInWindow(std::unique_ptr<EditedProject> project, const QString& title) {
  auto* view = new EditorView(std::move(project), workbench_);
  view->setAttribute(Qt::WA_DeleteOnClose);
  view->setWindowTitle(title);
  view->resize(1040, 720);
  connect(view, &EditorView::backWanted, view, &QWidget::close);
  connect(this, &QObject::destroyed, view, &QObject::deleteLater);
  view->show();
}

// An editor with work in it keeps its place.
void LibraryStack::show(std::unique_ptr<EditedProject> project) {
  if (editor_ && !editor_->unfinishedWork().isEmpty()) {
    const QString title = project->title();
    return showInWindow(std::move(project), QStringLiteral("%1 — Sonmere").arg(title));
  }
  closeEditor();
  editor_ = new EditorView(std::move(project), workbench_);
  connect(editor_, &EditorView::backWanted, this, &LibraryStack::closeEditor);
  addWidget(editor_);
  setCurrentWidget(editor_);
  editor_->setFocus();
}

void LibraryStack::closeEditor() {
  if (!editor_) return;
  editor_->deleteLater();
  removeWidget(editor_);
  editor_ = nullptr;
  page_->setFocus();
}

void LibraryStack::openFiles(const QStringList& paths) {
  QStringList audio;
  for (const QString& path : paths) {
    if (isAudioFileName(bytesOf(path)) && QFileInfo(path).isFile()) audio << path;
  }
  make();
  if (audio.size() > 1) return openWindow(audio);
  emit wanted();
  if (audio.isEmpty()) return emit model_->answered(tr("Sonmere opens audio files; this is none."), true);
  openFile(audio.first());
}

void LibraryStack::offerName(const QString& path, QWidget* over) {
  make();
  auto* sheet = new NameSheet(tr("Name this recording"),
                              tr("It is saved already, as %1.").arg(QFileInfo(path).fileName()),
                              displayName(path), over);
  connect(sheet, &NameSheet::chosen, this, [this, sheet, path](const QString& name) {
    if (name.isEmpty() || name == displayName(path)) return sheet->dismiss();
    model_->rename(path, name);
  });
  connect(model_.get(), &LibraryModel::renamed, sheet, [sheet, path](const QString& from) {
    if (from == path) sheet->dismiss();
  });
  connect(model_.get(), &LibraryModel::answered, sheet, [sheet](const QString& text, bool isRefusal) {
    if (isRefusal) sheet->refuse(text);
  });
  sheet->open();
}

}  // namespace sonmere
