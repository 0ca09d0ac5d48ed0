#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "editor/BackgroundWork.h"
#include "editor/EditHistory.h"
#include "editor/EditorTransport.h"
#include "editor/EditorViewport.h"
#include "editor/export/ExportFormat.h"
#include "editor/export/LoudnessGain.h"
#include "editor/keys/EditorShortcutAction.h"
#include "editor/track/MixTrackInput.h"
#include "editor/track/TrackPlaybackReader.h"
#include "editor/track/TrimEdit.h"
#include "editor/waveform/WaveformView.h"

namespace sonmere {

// One audio file with a non-destructive edit: a range that is kept, fades and a gain. Plays it as it will be
// saved, to the sample; saving makes a new file, the opened one is never changed. Main thread.
class EditorEngine {
 public:
  // What an edit changes; a drag of one of these is one step of undo.
  enum class Field { trimStart, trimEnd, fadeIn, fadeOut, gain };
  struct Edit {
    TrimRange after;
    Field field;
    SettingForm form;
  };

  // The error names the file and says what is wrong with it.
  static Outcome<std::shared_ptr<EditorEngine>> open(EngineContext& context, const std::string& url);

  const std::string& url() const { return url_; }
  const PCMFormat& format() const { return format_; }
  std::string fileName() const;
  // Of the file, in their order.
  const std::vector<AudioFileMark>& marks() const { return marks_; }

  // To be observed; changed by the operations below only.
  OwnedObservable<std::shared_ptr<const WaveformEnvelope>, EditorEngine>
      envelope;  // null until the file has been looked through
  // Nothing only where neither the file's header nor an envelope has told the length yet.
  OwnedObservable<std::optional<TrimRange>, EditorEngine> trimRange;
  OwnedObservable<std::optional<std::string>, EditorEngine> saveError;

  // Reads the file through, beside the main thread, from the opening on; gives the envelope when it is done.
  // Shows what the viewport does.
  const WaveformView& waveform() const { return waveform_; }

  // Playing. See EditorTransport.
  const Observable<bool>& isPlaying() const { return transport_.isPlaying; }
  const Observable<bool>& isPlaying() { return transport_.isPlaying; }
  const Observable<bool>& loopEnabled() const { return transport_.loopEnabled; }
  const Observable<std::int64_t>& playheadFrame() const { return transport_.playheadFrame; }
  const Observable<std::int64_t>& playheadFrame() { return transport_.playheadFrame; }
  const EditorTransport& transport() const { return transport_; }
  void play() { transport_.play(); }
  void pause() { transport_.pause(); }
  void seek(std::int64_t frame) { transport_.seek(frame); }
  void setLoop(bool loops) { transport_.setLoop(loops); }
  // Stops and gives the output back.
  void close() { transport_.close(); }

  // Edits. Values are held to what the file allows (see TrimEdit); live ones of one field, and the final one
  // behind them, are one step.
  void setTrimStart(std::int64_t frame, SettingForm form = SettingForm::final);
  void setTrimEnd(std::int64_t frame, SettingForm form = SettingForm::final);
  void setFadeIn(std::int64_t frames, SettingForm form = SettingForm::final);
  void setFadeOut(std::int64_t frames, SettingForm form = SettingForm::final);
  // The gain is 10^(dB / 20), at most 16.
  void setGainDecibels(double decibels, SettingForm form = SettingForm::final);
  void setGainLinear(double gain, SettingForm form = SettingForm::final);
  // "Auto-set gain so peak hits -0.5 dBFS". A silent range stays as it is. False before there is an
  // envelope.
  bool normalize();
  // Sets the gain with which the range, with its fades, is as loud as asked for (LUFS): measured in the
  // background, and anew when the range changes meanwhile. `done` is told once the gain is set, unless
  // cancelled; silence stays as it is. False while a request is under way or without a range.
  using Normalized = std::function<void(const Outcome<LoudnessGain>& gain)>;
  bool normalizeLoudness(double targetLUFS, Normalized done = nullptr);
  void cancelNormalizing() { measuring_.cancel(); }
  const Observable<bool>& isNormalizing() const { return measuring_.isRunning; }

  bool canUndo() const { return history_.canUndo(); }
  bool canRedo() const { return history_.canRedo(); }
  void undo();
  void redo();
  // Where an editor of many tracks keeps the history it is told of each edit instead.
  std::function<void(const Edit&)> onEdit;
  // Sets the range without a step, held to the file.
  void restore(const TrimRange& range);

  // The edit as an export takes it; nothing without a range.
  std::optional<MixTrackInput> track() const;
  // What is played of it. Only with a range; the result is for a worker.
  PlaybackEngine::OpenSource source(const TrackPlaybackReader::Span& span) const;

  // Saving, in the background. False with a saveError at once when there is nothing to save or a save is
  // under way. The file appears when it is complete; after a failure or a cancel what was there still is.
  bool saveTrimmed(const std::string& to, const ExportFormat& format);
  void cancelSave() { export_.cancel(); }
  const Observable<bool>& isSaving() const { return export_.isRunning; }
  const Observable<bool>& isSaving() { return export_.isRunning; }
  const Observable<double>& saveProgress() { return export_.progress; }
  // The edit is in no file that was saved since the editor was opened.
  bool hasUnsavedEdits() const;
  // "{name} (Trimmed)", with the extension of the format, in the file's folder.
  std::string suggestedPath(const ExportFormat& format) const;

  // Zooming and pinching.
  EditorViewport& viewport() { return viewport_; }
  const EditorViewport& viewport() const { return viewport_; }

  // Returns whether it was used.
  bool perform(EditorShortcutAction action);

 private:
  EditorEngine(EngineContext& context, std::string url, const PCMFormat& format, std::int64_t frames);
  EditorTransport::Material material();
  void learnLength(std::int64_t frames);
  void setEnvelope(WaveformEnvelope found);
  void showWaveform();
  template <class Change>
  void edit(Field field, SettingForm form, Change&& change);
  void setRange(const TrimRange& range);
  void saved(const TrimRange& range, const Outcome<void>& result);
  void measured(const TrimRange& range, const Outcome<Loudness>& loudness, double targetLUFS,
                const Normalized& done);

  struct Gesture {
    Field field;
    TrimRange start;
  };

  EngineContext& context_;
  const std::string url_;
  const PCMFormat format_;
  std::vector<AudioFileMark> marks_;
  EditorTransport transport_;
  EditorViewport viewport_;
  WaveformView waveform_;
  std::array<Subscription, 2> viewChanges_;
  EditHistory<TrimRange, Field> history_;
  std::optional<Gesture> gesture_;
  std::optional<TrimRange> saved_;
  BackgroundWork export_;
  BackgroundWork measuring_;
};

}  // namespace sonmere
