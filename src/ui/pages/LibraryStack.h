#pragma once

#include <QStackedWidget>
#include <memory>

#include "base/Error.h"

namespace sonmere {

class EditedProject;
class EditorView;
class LibraryModel;
class LibraryPage;
class ServiceLink;
class Workbench;
struct RecordingSession;

// The library, and in its place the editor of what was opened in it. Made when it is first seen: the rest of
// the window needs no look through the recordings.
class LibraryStack : public QStackedWidget {
  Q_OBJECT

 public:
  LibraryStack(Workbench& workbench, ServiceLink& link, QWidget* parent = nullptr);
  ~LibraryStack() override;

  LibraryModel& model();
  LibraryPage& page();
  // Null while the library is shown.
  EditorView* editor() const { return editor_; }
  // Audio files from outside: one in the single-track editor, several side by side in a window of their own.
  // What is none is passed over and told.
  void openFiles(const QStringList& paths);
  // A take that has just been completed: its name may be changed at once.
  void offerName(const QString& path, QWidget* over);

 signals:
  // Something is to be seen here.
  void wanted();

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  void make();
  void edit(const QStringList& paths, const QString& stamp);
  void openFile(const QString& path);
  void openSession(const RecordingSession& session, const QString& title);
  void openWindow(const QStringList& paths);
  void show(std::unique_ptr<EditedProject> project);
  void showInWindow(std::unique_ptr<EditedProject> project, const QString& title);
  void closeEditor();

  Workbench& workbench_;
  ServiceLink& link_;
  std::unique_ptr<LibraryModel> model_;
  LibraryPage* page_ = nullptr;
  EditorView* editor_ = nullptr;
};

}  // namespace sonmere
