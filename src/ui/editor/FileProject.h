#pragma once

#include "ui/editor/EditedProject.h"

namespace sonmere {

// One file in the editor.
class FileProject : public EditedProject {
  Q_OBJECT

 public:
  explicit FileProject(std::shared_ptr<EditorEngine> engine);

  QString title() const override { return tracks_.front().name; }
  const std::vector<Track>& tracks() const override { return tracks_; }
  double sampleRate() const override { return engine().format().sampleRate; }
  std::int64_t totalFrames() const override;
  EditorViewport& viewport() override { return engine().viewport(); }
  bool isSession() const override { return false; }
  bool isPlaying() const override { return *engine().isPlaying(); }
  bool loops() const override { return *engine().loopEnabled(); }
  void setLoop(bool loops) override;
  std::int64_t playhead() const override { return *engine().playheadFrame(); }
  void seek(std::int64_t frame) override { engine().seek(frame); }
  bool canUndo() const override { return engine().canUndo(); }
  bool canRedo() const override { return engine().canRedo(); }
  void undo() override { engine().undo(); }
  void redo() override { engine().redo(); }
  bool perform(EditorShortcutAction action, std::size_t) override { return engine().perform(action); }
  void exportTo(const QString& path, const ExportFormat& format) override;
  QString suggestedPath(const ExportFormat& format) const override;
  void cancelExport() override { engine().cancelSave(); }
  bool isSaving() override { return *engine().isSaving(); }
  double saveProgress() override { return *engine().saveProgress(); }
  bool hasUnsavedEdits() const override { return engine().hasUnsavedEdits(); }

 private:
  EditorEngine& engine() const { return *tracks_.front().engine; }

  std::vector<Track> tracks_;
  std::vector<Subscription> observers_;
};

}  // namespace sonmere
