#pragma once

#include <QObject>
#include <QString>
#include <optional>
#include <vector>

#include "editor/EditorEngine.h"

namespace sonmere {

// What an editor window shows: tracks on one timeline, however many. Frames are those of the timeline unless
// a track's are named. Main thread.
class EditedProject : public QObject {
  Q_OBJECT

 public:
  struct Track {
    std::shared_ptr<EditorEngine> engine;
    QString name;
  };

  virtual QString title() const = 0;
  virtual const std::vector<Track>& tracks() const = 0;
  virtual double sampleRate() const = 0;  // Hz
  virtual std::int64_t totalFrames() const = 0;
  virtual EditorViewport& viewport() = 0;

  // Tracks that can be silenced and added; else there is one.
  virtual bool isSession() const = 0;
  virtual bool isMuted(std::size_t) const { return false; }
  virtual bool isSoloed(std::size_t) const { return false; }
  virtual bool isAudible(std::size_t) const { return true; }
  virtual void setMuted(std::size_t, bool) {}
  virtual void setSoloed(std::size_t, bool) {}
  virtual void addTrack(const QString&) {}

  virtual bool isPlaying() const = 0;
  virtual bool loops() const = 0;
  virtual void setLoop(bool loops) = 0;
  virtual std::int64_t playhead() const = 0;
  virtual void seek(std::int64_t frame) = 0;
  // Heard while a drag goes on, where that is possible.
  virtual void scrub(std::int64_t frame) { seek(frame); }
  virtual void endScrub() {}

  virtual bool canUndo() const = 0;
  virtual bool canRedo() const = 0;
  virtual void undo() = 0;
  virtual void redo() = 0;
  // Whether it was used. Trims are of the track that is chosen.
  virtual bool perform(EditorShortcutAction action, std::size_t track) = 0;

  // In the background; see saving and saveFailed.
  virtual void exportTo(const QString& path, const ExportFormat& format) = 0;
  // Each track by itself, into a folder.
  virtual void exportStems(const QString&, const ExportFormat&) {}
  virtual QString suggestedPath(const ExportFormat& format) const = 0;
  virtual void cancelExport() = 0;
  virtual bool isSaving() = 0;
  virtual double saveProgress() = 0;
  // Edits that go with the editor: those of a session are kept beside its recordings.
  virtual bool hasUnsavedEdits() const { return false; }

  // Between a frame of the timeline and one of a track's file.
  std::int64_t trackFrame(std::size_t track, std::int64_t frame) const;
  std::int64_t timelineFrame(std::size_t track, std::int64_t frame) const;
  double secondsOf(std::int64_t frame) const { return static_cast<double>(frame) / sampleRate(); }

 signals:
  void tracksChanged();
  // A range, a gain, what is heard, or what can be undone.
  void edited();
  void playheadMoved();
  void playingChanged();
  void viewMoved();
  // A track's peaks are there.
  void waveformCame(std::size_t track);
  void savingChanged();
  void saveFailed(const QString& text);
  // What became of a track that was to be added, where it was refused.
  void refused(const QString& text);
};

}  // namespace sonmere
