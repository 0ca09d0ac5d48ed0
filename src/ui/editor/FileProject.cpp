#include "ui/editor/FileProject.h"

#include <QFile>

namespace sonmere {

FileProject::FileProject(std::shared_ptr<EditorEngine> opened) {
  tracks_.push_back({opened, QString::fromStdString(opened->fileName())});
  EditorEngine& it = engine();
  observers_.push_back(it.trimRange.observe([this](const auto&) { emit edited(); }));
  observers_.push_back(it.envelope.observe([this](const auto&) { emit waveformCame(0); }));
  observers_.push_back(it.isPlaying().observe([this](bool) { emit playingChanged(); }));
  observers_.push_back(it.playheadFrame().observe([this](std::int64_t) { emit playheadMoved(); }));
  observers_.push_back(it.viewport().viewStart.observe([this](std::int64_t) { emit viewMoved(); }));
  observers_.push_back(it.viewport().viewEnd.observe([this](std::int64_t) { emit viewMoved(); }));
  observers_.push_back(it.isSaving().observe([this](bool) { emit savingChanged(); }));
  observers_.push_back(it.saveProgress().observe([this](double) { emit savingChanged(); }));
  observers_.push_back(it.saveError.observe([this](const auto& text) {
    if (text) emit saveFailed(QString::fromStdString(*text));
  }));
}

std::int64_t FileProject::totalFrames() const {
  const auto& range = *engine().trimRange;
  return range ? range->totalFrames : 0;
}

void FileProject::setLoop(bool loops) {
  engine().setLoop(loops);
  emit playingChanged();
}

void FileProject::exportTo(const QString& path, const ExportFormat& format) {
  engine().saveTrimmed(QFile::encodeName(path).toStdString(), format);
}

QString FileProject::suggestedPath(const ExportFormat& format) const {
  return QFile::decodeName(QByteArray::fromStdString(engine().suggestedPath(format)));
}

}  // namespace sonmere
