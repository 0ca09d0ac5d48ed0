#pragma once

#include "editor/MultiTrackEditorEngine.h"
#include "ui/editor/EditedProject.h"

namespace sonmere {

// The files of one session side by side.
class SessionProject : public EditedProject {
  Q_OBJECT

 public:
  SessionProject(EngineContext& context, RecordingSession session, const QString& title);

  QString title() const override { return title_; }
  const std::vector<Track>& tracks() const override { return tracks_; }
  double sampleRate() const override { return std::max(engine_.sampleRate(), 1.0); }
  std::int64_t totalFrames() const override { return engine_.totalFrames(); }
  EditorViewport& viewport() override { return engine_.viewport(); }
  bool isSession() const override { return true; }
  bool isMuted(std::size_t track) const override;
  bool isSoloed(std::size_t track) const override;
  bool isAudible(std::size_t track) const override { return engine_.isAudible(url(track)); }
  void setMuted(std::size_t track, bool muted) override { engine_.setMuted(url(track), muted); }
  void setSoloed(std::size_t track, bool soloed) override { engine_.setSoloed(url(track), soloed); }
  void addTrack(const QString& path) override;
  bool isPlaying() const override { return *engine_.transport().isPlaying; }
  bool loops() const override { return *engine_.loopEnabled(); }
  void setLoop(bool loops) override;
  std::int64_t playhead() const override { return *engine_.transport().playheadFrame; }
  void seek(std::int64_t frame) override { engine_.seek(frame); }
  void scrub(std::int64_t frame) override { engine_.scrub(frame); }
  void endScrub() override { engine_.endScrub(); }
  bool canUndo() const override { return engine_.canUndo(); }
  bool canRedo() const override { return engine_.canRedo(); }
  void undo() override { engine_.undo(); }
  void redo() override { engine_.redo(); }
  bool perform(EditorShortcutAction action, std::size_t track) override;
  void exportTo(const QString& path, const ExportFormat& format) override;
  void exportStems(const QString& folder, const ExportFormat& format) override;
  QString suggestedPath(const ExportFormat& format) const override;
  void cancelExport() override { engine_.cancelExport(); }
  bool isSaving() override { return *engine_.isSaving(); }
  double saveProgress() override { return *engine_.saveProgress(); }

 private:
  const std::string& url(std::size_t track) const { return tracks_[track].engine->url(); }
  void observe();
  void takeTracks();

  MultiTrackEditorEngine engine_;
  const QString title_;
  std::vector<Track> tracks_;
  std::vector<Subscription> observers_;
  std::vector<Subscription> trackObservers_;
};

}  // namespace sonmere
