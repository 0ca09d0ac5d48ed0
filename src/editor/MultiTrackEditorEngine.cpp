#include "editor/MultiTrackEditorEngine.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <regex>

#include "base/ThreadRules.h"
#include "recording/RecordingReader.h"
#include "recording/import/AudioFileImporter.h"

namespace sonmere {

namespace fs = std::filesystem;

namespace {

bool isSameFile(const std::string& a, const std::string& b) {
  std::error_code ignored;
  return a == b || fs::equivalent(a, b, ignored);
}

// The path that all ways to a file have in common.
std::string canonicalPath(const std::string& path) {
  std::error_code error;
  const fs::path canonical = fs::weakly_canonical(path, error);
  return error ? path : canonical.string();
}

PersistedTrackEdits persisted(const EditorEngine& track) {
  if (!*track.trimRange) return {};
  const TrimRange& range = **track.trimRange;
  return {range.startFrame,
          range.endFrame,
          range.fadeInFrames,
          range.fadeOutFrames,
          range.gainLinear,
          false,
          false};
}

}  // namespace

MultiTrackEditorEngine::MultiTrackEditorEngine(EngineContext& context)
    : context_(context), scrubPlayer_(context), export_(context.runtime) {
  transport_ = std::make_unique<EditorTransport>(context, material());
  scrubPlayer_.isAudibleProvider = [this](const std::string& url) { return isAudible(url); };
}

MultiTrackEditorEngine::~MultiTrackEditorEngine() { close(); }

// The session.

void MultiTrackEditorEngine::open(RecordingSession session) {
  assertMain();
  close();
  session_ = std::move(session);
  opened_ = std::make_shared<MultiTrackEditorEngine*>(this);
  importing_ = TaskToken(std::make_shared<std::atomic<bool>>(false));
  if (session_->files.empty()) return;
  const auto edits = SessionEditsSidecar(context_.log).load(folder());
  openFiles(edits);
  keeper_ = std::make_unique<SessionEditsKeeper>(context_.runtime, context_.log, folder(),
                                                 [this] { return document(); });
  if (!edits) return;
  for (const auto& track : *trackEngines)
    if (const auto found = edits->tracks.find(track->fileName()); found != edits->tracks.end())
      pendingRestore_[track->url()] = found->second;
  for (const auto& track : *trackEngines) restorePending(track->url());
}

void MultiTrackEditorEngine::openFiles(const std::optional<PersistedSessionEdits>& edits) {
  std::vector<std::string> urls;
  for (const RecordingFile& file : session_->files) {
    urls.push_back(file.url);
    trackNames_[file.url] = file.displayName;
  }
  if (edits && edits->addedTracks.contains(session_->timestampString)) {
    for (const std::string& name : edits->addedTracks.at(session_->timestampString)) {
      const std::string url = (fs::path(folder()) / name).string();
      if (!isPlainFileName(name)) continue;
      addedUrls_.insert(url);
      if (std::ranges::find(urls, url) == urls.end()) urls.push_back(url);
    }
  }
  std::vector<std::shared_ptr<EditorEngine>> tracks;
  for (const std::string& url : urls) {
    if (tracks.size() == maxTracks) {
      context_.log.warning(fmt::format("MultiTrackEditorEngine: {} is left out: {}", url,
                                       AddTrackError::atCap(maxTracks).description()));
    } else if (auto track = openTrack(url)) {
      tracks.push_back(std::move(track));
      if (!trackNames_.contains(url)) trackNames_[url] = fs::path(url).stem().string();
      continue;
    }
    std::error_code ignored;
    if (addedUrls_.contains(url) && fs::exists(url, ignored))
      addedButLeftOut_.push_back(fs::path(url).filename().string());
  }
  setTracks(std::move(tracks));
  viewport_.zoomToFit();
}

void MultiTrackEditorEngine::close() {
  assertMain();
  opened_.reset();
  importing_.cancel();
  if (*importCount != 0) importCount.set(0);
  if (*saveError) saveError.set(std::nullopt);
  scrubPlayer_.stop();
  transport_->close();
  transport_->seek(0);
  export_.cancel();
  keeper_.reset();
  session_.reset();
  pendingRestore_.clear();
  imports_.clear();
  addedUrls_.clear();
  addedButLeftOut_.clear();
  trackNames_.clear();
  history_ = {};
  if (!soloedTracks->empty()) soloedTracks.set({});
  if (!mutedTracks->empty()) mutedTracks.set({});
  if (!trackEngines->empty()) setTracks({});
}

std::string MultiTrackEditorEngine::folder() const {
  return session_ && !session_->files.empty() ? fs::path(session_->files.front().url).parent_path().string()
                                              : std::string();
}

// Tracks.

std::shared_ptr<EditorEngine> MultiTrackEditorEngine::openTrack(const std::string& url) {
  auto opened = EditorEngine::open(context_, url);
  if (!opened) {
    context_.log.warning("MultiTrackEditorEngine: a track is left out: " + opened.error().description);
    return nullptr;
  }
  (*opened)->onEdit = [weak = std::weak_ptr(opened_), url](const EditorEngine::Edit& edit) {
    if (const auto self = weak.lock()) (*self)->trackEdited(url, edit);
  };
  return *opened;
}

void MultiTrackEditorEngine::setTracks(std::vector<std::shared_ptr<EditorEngine>> tracks) {
  subscriptions_.clear();
  std::set<std::string> added;
  for (const auto& track : tracks) {
    const std::string url = track->url();
    if (addedUrls_.contains(url)) added.insert(url);
    subscriptions_.push_back(track->trimRange.observe([this, url](const auto&) {
      if (!restorePending(url)) edited();
    }));
  }
  trackEngines.set(std::move(tracks));
  userAddedTracks.setIfChanged(std::move(added));
  viewport_.setTotalFrames(totalFrames());
}

EditorEngine* MultiTrackEditorEngine::track(const std::string& url) const {
  for (const auto& track : *trackEngines)
    if (track->url() == url) return track.get();
  return nullptr;
}

std::string MultiTrackEditorEngine::trackName(const std::string& url) const {
  const auto found = trackNames_.find(url);
  return found == trackNames_.end() ? std::string() : found->second;
}

bool MultiTrackEditorEngine::isPresent(const std::string& path) const {
  const auto shows = [&](const std::string& url) { return isSameFile(url, path); };
  if (std::ranges::any_of(*trackEngines, [&](const auto& track) { return shows(track->url()); })) return true;
  const auto import = imports_.find(canonicalPath(path));
  return import != imports_.end() && (import->second.empty() || track(import->second));
}

bool MultiTrackEditorEngine::isOfSession(const AudioFileReader& file, const std::string& path) const {
  return file.container() == "wav" && file.format().sampleRate == sampleRate() &&
         isSameFile(fs::path(canonicalPath(path)).parent_path().string(), folder());
}

void MultiTrackEditorEngine::addTrack(const std::string& path, Added done) {
  assertMain();
  const auto inFlight =
      std::ranges::count_if(imports_, [](const auto& import) { return import.second.empty(); });
  if (std::ssize(*trackEngines) + inFlight >= maxTracks)
    return done(std::unexpected(AddTrackError::atCap(maxTracks)));
  if (isPresent(path)) return done(std::unexpected(AddTrackError::duplicate()));
  if (!keeper_) return done(std::unexpected(AddTrackError::importFailed("open a session first")));
  const auto file = openRecording(path);
  if (!file) return done(std::unexpected(AddTrackError::decodeFailed()));
  if (isOfSession(**file, path)) return joinTrack(canonicalPath(path), done);
  importTrack(path, std::move(done));
}

void MultiTrackEditorEngine::importTrack(const std::string& path, Added done) {
  const std::string source = canonicalPath(path);
  imports_[source];
  importCount.set(*importCount + 1);
  AudioFileImporter::Request request{path, folder(), session_->timestampString, sampleRate()};
  request.tell = [&log = context_.log, path](const std::string& note) { log.info(path + ": " + note); };
  context_.runtime.globalQueue().post([&runtime = context_.runtime, &log = context_.log, request, source,
                                       cancel = importing_, done = std::move(done),
                                       weak = std::weak_ptr(opened_)] {
    const auto made = AudioFileImporter(log).importFile(request, cancel);
    runtime.mainQueue().post([made, source, done, weak] {
      if (const auto self = weak.lock()) (*self)->imported(source, made, done);
    });
  });
}

void MultiTrackEditorEngine::imported(const std::string& source, const Outcome<std::string>& made,
                                      const Added& done) {
  importCount.set(*importCount - 1);
  if (made && std::ssize(*trackEngines) < maxTracks) {
    imports_[source] = *made;
    return joinTrack(*made, done);
  }
  imports_.erase(source);
  if (!made) return done(std::unexpected(AddTrackError::importFailed(made.error().description)));
  // A redo has taken the last place meanwhile.
  std::error_code ignored;
  fs::remove(*made, ignored);
  done(std::unexpected(AddTrackError::atCap(maxTracks)));
}

void MultiTrackEditorEngine::joinTrack(const std::string& url, const Added& done) {
  auto opened = openTrack(url);
  if (!opened) return done(std::unexpected(AddTrackError::decodeFailed()));
  const SessionEditState before = state();
  addedUrls_.insert(url);
  trackNames_[url] = freeTrackName();
  auto tracks = *trackEngines;
  tracks.push_back(opened);
  setTracks(std::move(tracks));
  history_.record(before, state(), {SessionEdit::Kind::addTrack, url}, SettingForm::final);
  edited();
  done(url);
}

std::string MultiTrackEditorEngine::freeTrackName() const {
  static const std::regex pattern(R"(Track (\d+))");
  std::set<std::string> taken;
  for (const auto& track : *trackEngines) {
    const std::string name = trackName(track->url());
    std::smatch match;
    if (std::regex_search(name, match, pattern)) taken.insert(match[1]);
  }
  int number = 1;
  while (taken.contains(std::to_string(number))) ++number;
  return fmt::format("Track {}", number);
}

// Solo and mute.

bool MultiTrackEditorEngine::isAudible(const std::string& url) const {
  if (mutedTracks->contains(url)) return false;
  return soloedTracks->empty() || soloedTracks->contains(url);
}

void MultiTrackEditorEngine::setSoloed(const std::string& url, bool soloed) {
  assertMain();
  setFlag(soloedTracks, SessionEdit::Kind::solo, url, soloed);
}

void MultiTrackEditorEngine::setMuted(const std::string& url, bool muted) {
  assertMain();
  setFlag(mutedTracks, SessionEdit::Kind::mute, url, muted);
}

void MultiTrackEditorEngine::setFlag(TrackSet& tracks, SessionEdit::Kind kind, const std::string& url,
                                     bool isSet) {
  if (!track(url) || tracks->contains(url) == isSet) return;
  const SessionEditState before = state();
  tracks.update([&](auto& urls) {
    if (isSet)
      urls.insert(url);
    else
      urls.erase(url);
  });
  history_.record(before, state(), {kind, url}, SettingForm::final);
  edited();
}

// Edits.

SessionEditState MultiTrackEditorEngine::state() const {
  SessionEditState state{{}, *soloedTracks, *mutedTracks};
  for (const auto& track : *trackEngines) state.tracks.push_back({track, *track->trimRange});
  return state;
}

void MultiTrackEditorEngine::trackEdited(const std::string& url, const EditorEngine::Edit& edit) {
  const SessionEditState before = state();
  SessionEditState after = before;
  for (SessionEditState::Track& track : after.tracks)
    if (track.engine->url() == url) track.range = edit.after;
  history_.record(before, after, {SessionEdit::Kind::trim, url, edit.field}, edit.form);
}

void MultiTrackEditorEngine::undo() {
  assertMain();
  if (const auto state = history_.undo()) applyState(*state);
}

void MultiTrackEditorEngine::redo() {
  assertMain();
  if (const auto state = history_.redo()) applyState(*state);
}

void MultiTrackEditorEngine::applyState(const SessionEditState& state) {
  std::vector<std::shared_ptr<EditorEngine>> tracks;
  for (const SessionEditState::Track& track : state.tracks) tracks.push_back(track.engine);
  if (tracks != *trackEngines) setTracks(std::move(tracks));
  for (const SessionEditState::Track& track : state.tracks)
    if (track.range) track.engine->restore(*track.range);
  soloedTracks.setIfChanged(state.soloed);
  mutedTracks.setIfChanged(state.muted);
  edited();
}

void MultiTrackEditorEngine::edited() {
  viewport_.setTotalFrames(totalFrames());
  transport_->materialChanged();
  if (keeper_ && !isRestoringFromSidecar_) keeper_->changed();
}

// The sidecar.

bool MultiTrackEditorEngine::restorePending(const std::string& url) {
  const EditorEngine* known = track(url);
  if (isRestoringFromSidecar_ || !known || !*known->trimRange) return false;
  const auto pending = pendingRestore_.extract(url);
  if (pending.empty()) return false;
  const PersistedTrackEdits& edits = pending.mapped();
  isRestoringFromSidecar_ = true;
  TrimRange range = **known->trimRange;
  range.startFrame = edits.trimStartFrame;
  range.endFrame = edits.trimEndFrame.value_or(range.totalFrames);
  range.fadeInFrames = edits.fadeInFrames;
  range.fadeOutFrames = edits.fadeOutFrames;
  range.gainLinear = edits.gainLinear;
  track(url)->restore(range);
  if (edits.soloed) soloedTracks.update([&](auto& urls) { urls.insert(url); });
  if (edits.muted) mutedTracks.update([&](auto& urls) { urls.insert(url); });
  edited();
  isRestoringFromSidecar_ = false;
  return true;
}

PersistedSessionEdits MultiTrackEditorEngine::document() const {
  PersistedSessionEdits document;
  document.sessionTimestamp = session_->timestampString;
  std::vector<std::string> added = addedButLeftOut_;
  for (const auto& track : *trackEngines) {
    const std::string& url = track->url();
    const auto pending = pendingRestore_.find(url);
    PersistedTrackEdits edits = pending == pendingRestore_.end() ? persisted(*track) : pending->second;
    if (pending == pendingRestore_.end()) {
      edits.soloed = soloedTracks->contains(url);
      edits.muted = mutedTracks->contains(url);
    }
    document.tracks[track->fileName()] = edits;
    if (addedUrls_.contains(url)) added.push_back(track->fileName());
  }
  document.addedTracks[session_->timestampString] = std::move(added);
  return document;
}

}  // namespace sonmere
