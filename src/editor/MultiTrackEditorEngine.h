#pragma once

#include <expected>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "editor/AddTrackError.h"
#include "editor/BackgroundWork.h"
#include "editor/EditorEngine.h"
#include "editor/ScrubAudioPlayer.h"
#include "editor/SessionEditState.h"
#include "editor/sidecar/SessionEditsKeeper.h"
#include "recording/library/RecordingSession.h"

namespace sonmere {

// The files of one session on a shared timeline, all from frame 0, each an EditorEngine for its edits. Plays
// them in step and keeps the edits in the sidecar beside the files. Tracks are known by their paths; frames
// of the timeline are of the first track's rate. Main thread.
class MultiTrackEditorEngine {
 public:
  static constexpr int maxTracks = 16;

  explicit MultiTrackEditorEngine(EngineContext& context);
  // Writes edits that wait to be written.
  ~MultiTrackEditorEngine();

  // Opens a session in place of the one that is open, as it was left. Files that can't be read, and those
  // beyond the limit, are logged and left out.
  void open(RecordingSession session);
  // Stops, ends imports and exports, writes what waits to be written, and lets go of the session.
  void close();
  const std::optional<RecordingSession>& session() const { return session_; }

  // To be observed; changed by the operations below only.
  OwnedObservable<std::vector<std::shared_ptr<EditorEngine>>, MultiTrackEditorEngine> trackEngines;
  using TrackSet = OwnedObservable<std::set<std::string>, MultiTrackEditorEngine>;  // paths
  TrackSet userAddedTracks;
  TrackSet soloedTracks;
  TrackSet mutedTracks;
  OwnedObservable<std::optional<std::string>, MultiTrackEditorEngine> saveError;

  // What the library shows for a file of the session; "Track {n}" for an added one.
  std::string trackName(const std::string& url) const;
  EditorEngine* track(const std::string& url) const;

  // Imports under way.
  OwnedObservable<int, MultiTrackEditorEngine> importCount{0};
  // Adds a file; one that is not a WAV of the session's rate in the session's folder becomes one there first,
  // in the background. `done` is told on the main thread, unless the session was closed meanwhile.
  using Added = std::function<void(const std::expected<std::string, AddTrackError>& url)>;
  void addTrack(const std::string& path, Added done);

  // A track is heard unless it is muted, or another one is soloed and it is not.
  bool isAudible(const std::string& url) const;
  void setSoloed(const std::string& url, bool soloed);
  void setMuted(const std::string& url, bool muted);

  // All edits of all tracks, one history. The file of an added track stays when the adding is undone.
  bool canUndo() const { return history_.canUndo(); }
  bool canRedo() const { return history_.canRedo(); }
  void undo();
  void redo();

  // Playing. See EditorTransport.
  double sampleRate() const;  // of the timeline, Hz
  std::int64_t totalFrames() const;
  const Observable<bool>& isPlaying() { return transport_->isPlaying; }
  const Observable<bool>& loopEnabled() const { return transport_->loopEnabled; }
  const Observable<std::int64_t>& playheadFrame() { return transport_->playheadFrame; }
  const EditorTransport& transport() const { return *transport_; }
  void play();
  void pause() { transport_->pause(); }
  void seek(std::int64_t frame) { transport_->seek(frame); }
  void setLoop(bool loops) { transport_->setLoop(loops); }
  // Moves the playhead under a drag: while nothing plays, what is there is heard for a moment.
  void scrub(std::int64_t frame);
  void endScrub() { scrubPlayer_.stop(); }

  // Exports of what stands now, in the background; one at a time. False with a saveError at once when there
  // is nothing to export. Failures show in saveError. "Render each track to its own WAV (with edits applied)"
  bool exportStems(const std::string& folder, const ExportFormat& format = {});
  // "Render the whole session as a single mixed-down WAV", of the tracks that are heard.
  bool exportMix(const std::string& to, const ExportFormat& format = {});
  void cancelExport() { export_.cancel(); }
  const Observable<bool>& isSaving() { return export_.isRunning; }
  const Observable<double>& saveProgress() { return export_.progress; }

  EditorViewport& viewport() { return viewport_; }
  // Returns whether it was used: trims belong to a track and are not.
  bool perform(EditorShortcutAction action);

  bool isRestoringFromSidecar() const { return isRestoringFromSidecar_; }

 private:
  // Tracks.
  std::shared_ptr<EditorEngine> openTrack(const std::string& url);
  void openFiles(const std::optional<PersistedSessionEdits>& edits);
  void setTracks(std::vector<std::shared_ptr<EditorEngine>> tracks);
  bool isPresent(const std::string& path) const;
  bool isOfSession(const AudioFileReader& file, const std::string& path) const;
  void importTrack(const std::string& path, Added done);
  void imported(const std::string& source, const Outcome<std::string>& made, const Added& done);
  void joinTrack(const std::string& url, const Added& done);
  std::string freeTrackName() const;
  std::string folder() const;

  // Edits.
  SessionEditState state() const;
  void applyState(const SessionEditState& state);
  void trackEdited(const std::string& url, const EditorEngine::Edit& edit);
  void setFlag(TrackSet& tracks, SessionEdit::Kind kind, const std::string& url, bool isSet);
  void edited();

  // The sidecar.
  // Whether there was something to restore.
  bool restorePending(const std::string& url);
  PersistedSessionEdits document() const;

  // Playing and exporting.
  EditorTransport::Material material();
  std::int64_t trackFrame(const EditorEngine& track, std::int64_t frame) const;
  std::int64_t sessionFrame(const EditorEngine& track, std::int64_t frame) const;
  std::int64_t endFrame() const;
  bool startExport(bool hasTracks, const char* nothingText, BackgroundWork::Work work);

  EngineContext& context_;
  std::optional<RecordingSession> session_;
  std::map<std::string, std::string> trackNames_;  // by path; of tracks that were undone too
  std::set<std::string> addedUrls_;                // the same
  std::vector<std::string> addedButLeftOut_;       // names of files that are there and could not be opened
  std::map<std::string, std::string> imports_;     // source to track, empty while it is made
  TaskToken importing_;                            // of the open session's imports
  std::unique_ptr<EditorTransport> transport_;
  EditorViewport viewport_;
  ScrubAudioPlayer scrubPlayer_;
  EditHistory<SessionEditState, SessionEdit> history_;
  std::vector<Subscription> subscriptions_;
  std::unique_ptr<SessionEditsKeeper> keeper_;
  std::map<std::string, PersistedTrackEdits> pendingRestore_;  // by path
  bool isRestoringFromSidecar_ = false;
  BackgroundWork export_;
  std::shared_ptr<MultiTrackEditorEngine*> opened_;  // of the open session
};

}  // namespace sonmere
