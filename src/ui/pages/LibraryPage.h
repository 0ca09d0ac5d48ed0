#pragma once

#include <QWidget>

#include "ui/UnfinishedWork.h"

class QLabel;
class QLineEdit;
class QToolButton;
class QTreeView;

namespace sonmere {

class JobStrip;
class LibraryModel;
class LibraryTree;
class NoteLabel;
class Player;
class PlayerBar;
class Thumbnails;
class Workbench;

// The recordings by day: played in place, renamed in place, to the trash with undo; files dropped here are
// imported, rows dragged away are files.
class LibraryPage : public QWidget, public UnfinishedWork {
  Q_OBJECT

 public:
  LibraryPage(LibraryModel& model, Workbench& workbench, QWidget* parent = nullptr);

  // Chooses the file's row, and begins to edit its name where that is asked for.
  void choose(const QString& path);
  QStringList unfinishedWork() const override;

 signals:
  void editWanted(const QStringList& paths, const QString& stamp);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;

 private:
  void buildTop();
  void buildList();
  void buildActions();
  QToolButton* addAction(class QHBoxLayout* row, const QString& icon, const QString& text);
  void refresh();
  void refreshActions();
  QStringList chosen() const;
  void edit();
  void say(const QString& text, bool isRefusal);
  void chooseFiles();

  LibraryModel& model_;
  Thumbnails* thumbnails_;
  Player* player_;
  LibraryTree* tree_;
  QTreeView* view_;
  QLineEdit* search_;
  NoteLabel* note_;
  QToolButton* undo_ = nullptr;
  QToolButton* edit_ = nullptr;
  QToolButton* rename_ = nullptr;
  QToolButton* trash_ = nullptr;
  QLabel* empty_;
  JobStrip* jobs_;
  PlayerBar* bar_;
};

}  // namespace sonmere
