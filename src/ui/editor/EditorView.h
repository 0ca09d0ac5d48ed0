#pragma once

#include <QPointer>
#include <QWidget>
#include <memory>
#include <vector>

#include "editor/keys/EditorShortcuts.h"
#include "ui/UnfinishedWork.h"

class QDoubleSpinBox;
class QHBoxLayout;
class QLabel;
class QScrollArea;
class QScrollBar;
class QToolButton;
class QVBoxLayout;

namespace sonmere {

class EditedProject;
class NoteLabel;
class RangeFields;
class Sheet;
class Timeline;
class TrackHeader;
class Workbench;

// An editor: tools, the timeline with its tracks, the chosen track's edit as numbers, loudness, export.
class EditorView : public QWidget, public UnfinishedWork {
  Q_OBJECT

 public:
  EditorView(std::unique_ptr<EditedProject> project, Workbench& workbench, QWidget* parent = nullptr);
  ~EditorView() override;

  EditedProject& project() { return *project_; }
  Timeline& timeline() { return *timeline_; }
  QStringList unfinishedWork() const override;
  // Back to where it was opened from; asks first where something would be lost.
  void leave();

 signals:
  void backWanted();

 protected:
  void keyPressEvent(QKeyEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;
  void closeEvent(QCloseEvent* event) override;

 private:
  void buildTools();
  void buildTracks();
  void buildBottom();
  QToolButton* addTool(QHBoxLayout* row, const QString& icon, const QString& text);
  void fillHeaders();
  void refresh();
  void refreshView();
  void choose(std::size_t track);
  void measure();
  void normalise();
  void say(const QString& text, bool isRefusal);
  void openExport();

  std::unique_ptr<EditedProject> project_;
  Workbench& workbench_;
  EditorShortcuts shortcuts_;
  Timeline* timeline_;
  RangeFields* fields_;
  QScrollBar* scroll_;
  QVBoxLayout* headers_;
  std::vector<TrackHeader*> tracks_;
  QToolButton* play_ = nullptr;
  QToolButton* loop_ = nullptr;
  QToolButton* undo_ = nullptr;
  QToolButton* redo_ = nullptr;
  QLabel* loudness_;
  NoteLabel* note_;
  std::shared_ptr<class ExportProgress> measuring_;
  QPointer<Sheet> question_;
  bool mayGo_ = false;  // the user has said so
};

// A key as EditorShortcuts has it: "shift+left", "space"; empty for one that it can't have.
QString shortcutText(const QKeyEvent& event);

}  // namespace sonmere
