#include <algorithm>
#include <cmath>

#include "editor/MultiTrackEditorEngine.h"
#include "editor/export/SessionExporter.h"

// The part of the multi-track editor that is heard: playing, scrubbing, exporting.

namespace sonmere {

namespace {

constexpr double kRateWithoutTracks = 48000;
constexpr const char* kBusyText = "An export is under way. Wait for its end or cancel it first.";
constexpr const char* kNoTracksText = "There is no track to export.";
constexpr const char* kAllSilentText =
    "Every track is muted, or left out by a solo: there is nothing to mix.";
constexpr const char* kFolderFailure = "Couldn't create export folder: ";

std::string exportErrorText(const Error& error) {
  return error.description.starts_with(kFolderFailure) ? error.description
                                                       : "Export failed: " + error.description;
}

}  // namespace

// The timeline.

double MultiTrackEditorEngine::sampleRate() const {
  return trackEngines->empty() ? kRateWithoutTracks : trackEngines->front()->format().sampleRate;
}

std::int64_t MultiTrackEditorEngine::trackFrame(const EditorEngine& track, std::int64_t frame) const {
  return std::llround(double(frame) * track.format().sampleRate / sampleRate());
}

std::int64_t MultiTrackEditorEngine::sessionFrame(const EditorEngine& track, std::int64_t frame) const {
  return std::int64_t(std::ceil(double(frame) * sampleRate() / track.format().sampleRate));
}

std::int64_t MultiTrackEditorEngine::totalFrames() const {
  std::int64_t frames = 0;
  for (const auto& track : *trackEngines)
    if (*track->trimRange) frames = std::max(frames, sessionFrame(*track, (*track->trimRange)->totalFrames));
  return frames;
}

std::int64_t MultiTrackEditorEngine::endFrame() const {
  std::int64_t frames = 0;
  for (const auto& track : *trackEngines)
    if (*track->trimRange) frames = std::max(frames, sessionFrame(*track, (*track->trimRange)->endFrame));
  return frames;
}

// Playing.

// Every track stands at its place on the timeline. Those that are not heard play as silence, so that the
// longest of all, heard or not, is what the playing ends with.
EditorTransport::Material MultiTrackEditorEngine::material() {
  EditorTransport::Material material;
  material.logName = "MultiTrackEditorEngine";
  material.sampleRate = [this] { return sampleRate(); };
  material.span = [this] { return EditorTransport::Span{0, endFrame()}; };
  material.totalFrames = [this] { return totalFrames(); };
  material.tracks = [this](std::int64_t from, bool loops) {
    std::vector<PlaybackEngine::OpenSource> sources;
    for (const auto& track : *trackEngines) {
      if (!*track->trimRange) continue;
      TrackPlaybackReader::Span span{trackFrame(*track, from), trackFrame(*track, endFrame()), loops};
      span.loopFrames = double(endFrame()) * track->format().sampleRate / sampleRate();
      span.isAudible = isAudible(track->url());
      sources.push_back(track->source(span));
    }
    return sources;
  };
  return material;
}

void MultiTrackEditorEngine::play() {
  scrubPlayer_.stop();
  transport_->play();
}

void MultiTrackEditorEngine::scrub(std::int64_t frame) {
  transport_->seek(frame);
  if (*isPlaying()) return;
  std::vector<ScrubAudioPlayer::Track> tracks;
  for (const auto& track : *trackEngines) tracks.push_back({track, trackFrame(*track, *playheadFrame())});
  scrubPlayer_.scrub(std::move(tracks));
}

bool MultiTrackEditorEngine::perform(EditorShortcutAction action) {
  if (const auto seconds = nudgeSeconds(action)) {
    seek(*playheadFrame() + std::int64_t(*seconds * sampleRate()));
    viewport_.reveal(*playheadFrame());
    return true;
  }
  switch (action) {
    case EditorShortcutAction::togglePlayback:
      *isPlaying() ? pause() : play();
      return true;
    case EditorShortcutAction::zoomIn:
      viewport_.zoomIn(*playheadFrame());
      return true;
    case EditorShortcutAction::zoomOut:
      viewport_.zoomOut(*playheadFrame());
      return true;
    case EditorShortcutAction::zoomToFit:
      viewport_.zoomToFit();
      return true;
    default:
      return false;
  }
}

// Exporting.

bool MultiTrackEditorEngine::exportStems(const std::string& folder, const ExportFormat& format) {
  std::vector<SessionExporter::Stem> stems;
  for (const auto& track : *trackEngines)
    if (const auto input = track->track()) stems.push_back({*input, trackName(track->url())});
  const SessionExporter::Options options{format, recordingBitDepth(context_.settings)};
  return startExport(
      !stems.empty(), kNoTracksText,
      [&log = context_.log, stems, folder, options](ExportProgress& progress) -> Outcome<void> {
        const auto made = SessionExporter(log).exportStems(stems, folder, options, progress);
        return made ? Outcome<void>() : std::unexpected(made.error());
      });
}

bool MultiTrackEditorEngine::exportMix(const std::string& to, const ExportFormat& format) {
  std::vector<MixTrackInput> inputs;
  for (const auto& track : *trackEngines)
    if (const auto input = track->track(); input && isAudible(track->url())) inputs.push_back(*input);
  SessionExporter::Options options{format, recordingBitDepth(context_.settings)};
  options.sampleRate = sampleRate();
  for (const auto& track : *trackEngines) options.originals.push_back(track->url());
  return startExport(!inputs.empty(), trackEngines->empty() ? kNoTracksText : kAllSilentText,
                     [&log = context_.log, inputs, to, options](ExportProgress& progress) {
                       return SessionExporter(log).exportMix(inputs, to, options, progress);
                     });
}

bool MultiTrackEditorEngine::startExport(bool hasTracks, const char* nothingText, BackgroundWork::Work work) {
  if (!hasTracks || *isSaving()) {
    saveError.set(hasTracks ? kBusyText : nothingText);
    return false;
  }
  saveError.set(std::nullopt);
  export_.start(std::move(work),
                [this, weak = std::weak_ptr(opened_)](const Outcome<void>& result, const ExportProgress&) {
                  if (!result && result.error().domain != kExportCancelledDomain && !weak.expired())
                    saveError.set(exportErrorText(result.error()));
                });
  return true;
}

}  // namespace sonmere
