#include "ui/editor/SessionProject.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace sonmere {

SessionProject::SessionProject(EngineContext& context, RecordingSession session, const QString& title)
    : engine_(context), title_(title) {
  engine_.open(std::move(session));
  takeTracks();
  observe();
}

void SessionProject::observe() {
  const auto changed = [this](const auto&) { emit edited(); };
  observers_.push_back(engine_.trackEngines.observe([this](const auto&) {
    takeTracks();
    emit tracksChanged();
  }));
  observers_.push_back(engine_.mutedTracks.observe(changed));
  observers_.push_back(engine_.soloedTracks.observe(changed));
  observers_.push_back(engine_.isPlaying().observe([this](bool) { emit playingChanged(); }));
  observers_.push_back(engine_.playheadFrame().observe([this](std::int64_t) { emit playheadMoved(); }));
  observers_.push_back(engine_.viewport().viewStart.observe([this](std::int64_t) { emit viewMoved(); }));
  observers_.push_back(engine_.viewport().viewEnd.observe([this](std::int64_t) { emit viewMoved(); }));
  observers_.push_back(engine_.isSaving().observe([this](bool) { emit savingChanged(); }));
  observers_.push_back(engine_.saveProgress().observe([this](double) { emit savingChanged(); }));
  observers_.push_back(engine_.saveError.observe([this](const auto& text) {
    if (text) emit saveFailed(QString::fromStdString(*text));
  }));
}

void SessionProject::takeTracks() {
  trackObservers_.clear();
  tracks_.clear();
  for (const auto& engine : *engine_.trackEngines) {
    const std::size_t place = tracks_.size();
    tracks_.push_back({engine, QString::fromStdString(engine_.trackName(engine->url()))});
    trackObservers_.push_back(engine->trimRange.observe([this](const auto&) { emit edited(); }));
    trackObservers_.push_back(
        engine->envelope.observe([this, place](const auto&) { emit waveformCame(place); }));
  }
}

bool SessionProject::isMuted(std::size_t track) const { return engine_.mutedTracks->contains(url(track)); }
bool SessionProject::isSoloed(std::size_t track) const { return engine_.soloedTracks->contains(url(track)); }

void SessionProject::addTrack(const QString& path) {
  engine_.addTrack(QFile::encodeName(path).toStdString(), [this](const auto& added) {
    if (!added)
      emit refused(tr("%1: %2").arg(QString::fromLatin1(AddTrackError::kTitle),
                                    QString::fromStdString(added.error().description())));
  });
}

void SessionProject::setLoop(bool loops) {
  engine_.setLoop(loops);
  emit playingChanged();
}

bool SessionProject::perform(EditorShortcutAction action, std::size_t track) {
  if (engine_.perform(action)) return true;
  if (track >= tracks_.size()) return false;
  const std::int64_t frame = trackFrame(track, playhead());
  if (action == EditorShortcutAction::setTrimStartAtPlayhead) {
    tracks_[track].engine->setTrimStart(frame);
  } else if (action == EditorShortcutAction::setTrimEndAtPlayhead) {
    tracks_[track].engine->setTrimEnd(frame);
  } else {
    return false;
  }
  return true;
}

void SessionProject::exportTo(const QString& path, const ExportFormat& format) {
  engine_.exportMix(QFile::encodeName(path).toStdString(), format);
}

void SessionProject::exportStems(const QString& folder, const ExportFormat& format) {
  engine_.exportStems(QFile::encodeName(folder).toStdString(), format);
}

QString SessionProject::suggestedPath(const ExportFormat& format) const {
  const QString first = tracks_.empty() ? QString() : QFile::decodeName(QByteArray::fromStdString(url(0)));
  return QFileInfo(first).dir().filePath(tr("Mix.%1").arg(QLatin1String(format.fileExtension())));
}

}  // namespace sonmere
