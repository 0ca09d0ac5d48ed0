#include "editor/sidecar/SessionTracks.h"

#include <algorithm>
#include <filesystem>

#include "editor/sidecar/SessionEditsSidecar.h"
#include "editor/track/TrackReader.h"
#include "editor/track/TrimEdit.h"

namespace sonmere {

namespace fs = std::filesystem;

namespace {

TrimRange edited(const TrimRange& whole, const PersistedTrackEdits& edits) {
  TrimRange range = whole;
  range.startFrame = edits.trimStartFrame;
  range.endFrame = edits.trimEndFrame.value_or(whole.totalFrames);
  range.fadeInFrames = edits.fadeInFrames;
  range.fadeOutFrames = edits.fadeOutFrames;
  range.gainLinear = edits.gainLinear;
  return TrimEdit::held(range, whole.totalFrames, whole.sampleRate);
}

// Files by path and name, those of the session first.
std::vector<std::pair<std::string, std::string>> filesOf(const RecordingSession& session,
                                                         const std::optional<PersistedSessionEdits>& edits) {
  std::vector<std::pair<std::string, std::string>> files;
  for (const RecordingFile& file : session.files) files.emplace_back(file.url, file.displayName);
  if (!edits || files.empty()) return files;
  const auto added = edits->addedTracks.find(session.timestampString);
  if (added == edits->addedTracks.end()) return files;
  const fs::path folder = fs::path(files.front().first).parent_path();
  for (const std::string& name : added->second) {
    const std::string url = (folder / name).string();
    const bool isKnown = std::ranges::any_of(files, [&](const auto& file) { return file.first == url; });
    std::error_code ignored;
    if (isPlainFileName(name) && !isKnown && fs::exists(url, ignored))
      files.emplace_back(url, fs::path(name).stem().string());
  }
  return files;
}

}  // namespace

std::vector<SessionTrack> sessionTracks(const RecordingSession& session,
                                        const std::optional<PersistedSessionEdits>& edits) {
  std::vector<SessionTrack> tracks;
  for (const auto& [url, name] : filesOf(session, edits)) {
    auto whole = wholeFile(url);
    SessionTrack track{whole.value_or(MixTrackInput{url, {}}), std::nullopt, name};
    if (!whole) track.unreadable = whole.error();
    const std::string fileName = fs::path(url).filename().string();
    if (edits)
      if (const auto found = edits->tracks.find(fileName); found != edits->tracks.end()) {
        if (whole) track.input.range = edited(track.input.range, found->second);
        track.soloed = found->second.soloed;
        track.muted = found->second.muted;
      }
    tracks.push_back(std::move(track));
  }
  const bool anySoloed = std::ranges::any_of(tracks, &SessionTrack::soloed);
  for (SessionTrack& track : tracks) track.isAudible = !track.muted && (!anySoloed || track.soloed);
  return tracks;
}

}  // namespace sonmere
