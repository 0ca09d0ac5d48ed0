#include "editor/EditorEngine.h"

#include <cmath>
#include <filesystem>

#include "audio/file/StreamResampler.h"
#include "base/ThreadRules.h"
#include "editor/export/ExportDestination.h"
#include "editor/export/SessionExporter.h"
#include "editor/export/SourceBitDepth.h"
#include "editor/export/TrackLevel.h"
#include "recording/RecordingReader.h"

namespace sonmere {

namespace fs = std::filesystem;

namespace {

constexpr const char* kNoRangeText = "Drag the trim handles to select a range first.";
constexpr const char* kSaveFailedText = "Save failed. Check disk space and try again.";
constexpr const char* kBusyText = "A save is under way. Wait for its end or cancel it first.";

// A destination that can't be used has a reason of its own, and the disk is not it.
std::string saveErrorText(const Error& error) {
  return error.domain == kExportDestinationDomain ? error.description : kSaveFailedText;
}

}  // namespace

Outcome<std::shared_ptr<EditorEngine>> EditorEngine::open(EngineContext& context, const std::string& url) {
  auto file = openRecording(url);
  if (!file) return std::unexpected(file.error());
  std::shared_ptr<EditorEngine> engine(
      new EditorEngine(context, url, (*file)->format(), (*file)->frameCount()));
  engine->marks_ = (*file)->details().marks;
  return engine;
}

EditorEngine::EditorEngine(EngineContext& context, std::string url, const PCMFormat& format,
                           std::int64_t frames)
    : context_(context),
      url_(std::move(url)),
      format_(format),
      transport_(context, material()),
      waveform_(context.runtime, context.log),
      export_(context.runtime),
      measuring_(context.runtime) {
  learnLength(frames);
  const auto viewChanged = [this](std::int64_t) { showWaveform(); };
  viewChanges_ = {viewport_.viewStart.observe(viewChanged), viewport_.viewEnd.observe(viewChanged)};
  waveform_.onEnvelopeReady = [this](WaveformEnvelope found) { setEnvelope(std::move(found)); };
  waveform_.setURL(url_);
}

std::string EditorEngine::fileName() const { return fs::path(url_).filename().string(); }

void EditorEngine::learnLength(std::int64_t frames) {
  if (*trimRange || frames <= 0) return;
  trimRange.set(TrimRange::whole(frames, format_.sampleRate));
  viewport_.setTotalFrames(frames);
}

void EditorEngine::setEnvelope(WaveformEnvelope found) {
  learnLength(found.totalFrames);
  showWaveform();
  envelope.set(std::make_shared<const WaveformEnvelope>(std::move(found)));
}

void EditorEngine::showWaveform() { waveform_.setView(*viewport_.viewStart, *viewport_.viewEnd); }

// Playing.

EditorTransport::Material EditorEngine::material() {
  EditorTransport::Material material;
  material.logName = "EditorEngine";
  material.sampleRate = [this] { return format_.sampleRate; };
  material.span = [this]() -> EditorTransport::Span {
    if (!*trimRange) return {};
    return {(*trimRange)->startFrame, (*trimRange)->endFrame};
  };
  material.totalFrames = [this] { return *trimRange ? (*trimRange)->totalFrames : 0; };
  material.tracks = [this](std::int64_t from, bool loops) {
    return std::vector{source({from, (*trimRange)->endFrame, loops, (*trimRange)->startFrame})};
  };
  return material;
}

PlaybackEngine::OpenSource EditorEngine::source(const TrackPlaybackReader::Span& span) const {
  return [input = MixTrackInput{url_, **trimRange},
          span](const PCMFormat& wanted) -> Outcome<std::unique_ptr<AudioFileReader>> {
    auto reader = TrackPlaybackReader::open(input, span);
    if (!reader) return reader;
    return resampled(std::move(*reader), wanted);
  };
}

// Edits.

template <class Change>
void EditorEngine::edit(Field field, SettingForm form, Change&& change) {
  if (!*trimRange) return;
  const TrimRange before = **trimRange;
  // A drag starts from where it began with each of its edits: a fade that a trim has shortened on its way
  // comes back when the trim does.
  if (!gesture_ || gesture_->field != field) gesture_ = Gesture{field, before};
  const TrimRange after = change(gesture_->start);
  if (form == SettingForm::final) gesture_.reset();
  if (onEdit)
    onEdit({after, field, form});
  else
    history_.record(before, after, field, form);
  if (after != before) setRange(after);
}

void EditorEngine::setRange(const TrimRange& range) {
  trimRange.set(range);
  transport_.materialChanged();
}

void EditorEngine::setTrimStart(std::int64_t frame, SettingForm form) {
  assertMain();
  edit(Field::trimStart, form, [&](const TrimRange& range) { return TrimEdit::withStart(range, frame); });
}

void EditorEngine::setTrimEnd(std::int64_t frame, SettingForm form) {
  assertMain();
  edit(Field::trimEnd, form, [&](const TrimRange& range) { return TrimEdit::withEnd(range, frame); });
}

void EditorEngine::setFadeIn(std::int64_t frames, SettingForm form) {
  assertMain();
  edit(Field::fadeIn, form, [&](const TrimRange& range) { return TrimEdit::withFadeIn(range, frames); });
}

void EditorEngine::setFadeOut(std::int64_t frames, SettingForm form) {
  assertMain();
  edit(Field::fadeOut, form, [&](const TrimRange& range) { return TrimEdit::withFadeOut(range, frames); });
}

void EditorEngine::setGainDecibels(double decibels, SettingForm form) {
  assertMain();
  setGainLinear(TrimEdit::gainOfDecibels(decibels), form);
}

void EditorEngine::setGainLinear(double gain, SettingForm form) {
  assertMain();
  edit(Field::gain, form, [&](const TrimRange& range) { return TrimEdit::withGain(range, gain); });
}

bool EditorEngine::normalize() {
  assertMain();
  const auto found = *envelope;
  if (!*trimRange || !found) return false;
  setGainLinear(double(TrimEdit::normalizingGain(**trimRange, *found)));
  return true;
}

bool EditorEngine::normalizeLoudness(double targetLUFS, Normalized done) {
  assertMain();
  auto input = track();
  if (!input || *isNormalizing()) return false;
  const TrimRange range = input->range;
  const auto found = std::make_shared<Outcome<Loudness>>();
  measuring_.start(
      [input = *input, found](ExportProgress& progress) -> Outcome<void> {
        *found = measureTrackLoudness(input, progress);
        return {};
      },
      [this, range, found, targetLUFS, done](const Outcome<void>&, const ExportProgress& progress) {
        if (!progress.isCancelled()) measured(range, *found, targetLUFS, done);
      });
  return true;
}

void EditorEngine::measured(const TrimRange& range, const Outcome<Loudness>& loudness, double targetLUFS,
                            const Normalized& done) {
  if (!loudness) {
    context_.log.error("EditorEngine: normalize failed: " + loudness.error().description);
    if (done) done(std::unexpected(loudness.error()));
    return;
  }
  if (TrimEdit::withGain(**trimRange, 1) != TrimEdit::withGain(range, 1)) {
    normalizeLoudness(targetLUFS, done);
    return;
  }
  const LoudnessGain gain = gainToLoudness(*loudness, targetLUFS);
  if (std::isfinite(loudness->integratedLUFS)) setGainLinear(double(gain.gainLinear));
  if (done) done(gain);
}

void EditorEngine::undo() {
  assertMain();
  gesture_.reset();
  if (const auto range = history_.undo()) setRange(*range);
}

void EditorEngine::redo() {
  assertMain();
  gesture_.reset();
  if (const auto range = history_.redo()) setRange(*range);
}

void EditorEngine::restore(const TrimRange& range) {
  assertMain();
  if (!*trimRange) return;
  gesture_.reset();
  const TrimRange held = TrimEdit::held(range, (*trimRange)->totalFrames, format_.sampleRate);
  if (held != **trimRange) setRange(held);
}

// Saving.

std::optional<MixTrackInput> EditorEngine::track() const {
  if (!*trimRange) return std::nullopt;
  return MixTrackInput{url_, **trimRange};
}

std::string EditorEngine::suggestedPath(const ExportFormat& format) const {
  const fs::path path(url_);
  return (path.parent_path() / (path.stem().string() + " (Trimmed)." + format.fileExtension())).string();
}

bool EditorEngine::saveTrimmed(const std::string& to, const ExportFormat& format) {
  assertMain();
  const auto input = track();
  if (!input || *isSaving()) {
    saveError.set(input ? kBusyText : kNoRangeText);
    return false;
  }
  saveError.set(std::nullopt);
  export_.start(
      [&log = context_.log, input = *input, to, format](ExportProgress& progress) {
        return SessionExporter(log).exportTrack(input, to, {format, sourceBitDepth(input.url)}, progress);
      },
      [this, range = **trimRange](const Outcome<void>& result, const ExportProgress&) {
        saved(range, result);
      });
  return true;
}

bool EditorEngine::hasUnsavedEdits() const {
  const auto& range = *trimRange;
  return range && range != saved_ && *range != TrimRange::whole(range->totalFrames, range->sampleRate);
}

void EditorEngine::saved(const TrimRange& range, const Outcome<void>& result) {
  if (result) saved_ = range;
  if (result || result.error().domain == kExportCancelledDomain) return;
  context_.log.error("EditorEngine: save failed: " + result.error().description);
  saveError.set(saveErrorText(result.error()));
}

// Keys.

bool EditorEngine::perform(EditorShortcutAction action) {
  assertMain();
  const std::int64_t playhead = *playheadFrame();
  if (const auto seconds = nudgeSeconds(action)) {
    seek(playhead + std::int64_t(*seconds * format_.sampleRate));
    viewport_.reveal(*playheadFrame());
    return true;
  }
  switch (action) {
    case EditorShortcutAction::togglePlayback:
      transport_.togglePlayback();
      return true;
    case EditorShortcutAction::zoomIn:
      viewport_.zoomIn(playhead);
      return true;
    case EditorShortcutAction::zoomOut:
      viewport_.zoomOut(playhead);
      return true;
    case EditorShortcutAction::zoomToFit:
      viewport_.zoomToFit();
      return true;
    case EditorShortcutAction::setTrimStartAtPlayhead:
      setTrimStart(playhead);
      return true;
    case EditorShortcutAction::setTrimEndAtPlayhead:
      setTrimEnd(playhead);
      return true;
    default:
      return false;
  }
}

}  // namespace sonmere
