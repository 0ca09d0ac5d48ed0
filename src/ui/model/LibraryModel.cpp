#include "ui/model/LibraryModel.h"

#include <QFile>
#include <QFileInfo>
#include <algorithm>

#include "recording/RecordingsFolderState.h"
#include "recording/library/InotifyFolderWatch.h"
#include "ui/model/Decode.h"
#include "ui/work/Workbench.h"

namespace sonmere {
namespace {

std::string bytesOf(const QString& path) { return QFile::encodeName(path).toStdString(); }
QString pathOf(const std::string& bytes) { return QFile::decodeName(QByteArray::fromStdString(bytes)); }

}  // namespace

LibraryModel::LibraryModel(Workbench& workbench, ServiceLink& link) : workbench_(workbench) {
  open({});
  connect(&link, &ServiceLink::told, this, &LibraryModel::take);
}

LibraryModel::~LibraryModel() = default;

void LibraryModel::open(const QString& folder) {
  observers_.clear();
  trashed_.clear();
  told_.clear();
  onlyFolder_ = folder;
  desk_ = std::make_unique<RecordingsDesk>(workbench_.recordings(bytesOf(folder)), workbench_.trash());
  RecordingsLibrary& library = desk_->library();
  const auto tell = [this](const auto&) { emit changed(); };
  observers_.push_back(library.sessions.observe(tell));
  observers_.push_back(library.isScanning.observe(tell));
  observers_.push_back(library.folderInUse.observe(tell));
  observers_.push_back(library.folderUnavailable.observe(tell));
  observers_.push_back(desk_->jobs().jobs.observe([this](const auto&) { tellJobs(); }));
  std::unique_ptr<FolderWatch> watch;
  if (workbench_.watcher()) {
    if (auto made = InotifyFolderWatch::create(*workbench_.watcher())) watch = std::move(*made);
  }
  library.startWatching(std::move(watch));
  emit changed();
}

// The service may have been told of another folder on its command line.
void LibraryModel::take(Topic topic, const TopicJSON& value) {
  if (topic != Topic::library) return;
  wantedFolder_ = pathOf(memberOr<std::string>(objectAt(value, "facts"), "folder", {}));
  follow();
}

// Jobs that are under way end with the desk: it is changed after them.
void LibraryModel::follow() {
  if (wantedFolder_.isEmpty() || wantedFolder_ == folder() || desk_->jobs().isBusy()) return;
  open(wantedFolder_);
}

QString LibraryModel::folder() const { return pathOf(*desk_->library().folderInUse); }

QString LibraryModel::folderNote() const {
  if (!*desk_->library().folderUnavailable) return {};
  return QString::fromStdString(recordingsFolderUnavailableText(desk_->library().defaultFolder()));
}

void LibraryModel::rename(const QString& path, const QString& name) {
  desk_->rename(bytesOf(path), name.toStdString(), [this, path](const Outcome<std::string>& now) {
    if (!now) return emit answered(QString::fromStdString(now.error().description), true);
    emit renamed(path, pathOf(*now));
  });
}

void LibraryModel::moveToTrash(const QStringList& paths) {
  trashed_.clear();
  for (const QString& path : paths) {
    desk_->remove(bytesOf(path), [this, path](const Outcome<std::string>& where) { removed(path, where); });
  }
}

void LibraryModel::removed(const QString& path, const Outcome<std::string>& where) {
  if (!where) return emit answered(QString::fromStdString(where.error().description), true);
  trashed_ << pathOf(*where);
  emit answered(trashed_.size() == 1
                    ? tr("%1 is in the trash.").arg(QFileInfo(path).fileName())
                    : tr("%n recording(s) are in the trash.", nullptr, static_cast<int>(trashed_.size())),
                false);
  emit trashedChanged();
}

void LibraryModel::restore() {
  for (const QString& path : std::exchange(trashed_, {})) {
    desk_->restore(bytesOf(path), [this](const Outcome<std::string>& back) {
      emit answered(back ? tr("%1 is back.").arg(QFileInfo(pathOf(*back)).fileName())
                         : QString::fromStdString(back.error().description),
                    !back);
    });
  }
  emit trashedChanged();
}

void LibraryModel::importFiles(const QStringList& paths) {
  std::vector<std::string> files;
  for (const QString& path : paths) files.push_back(bytesOf(path));
  desk_->importFiles(files);
}

// What has ended is told once and leaves the list.
void LibraryModel::tellJobs() {
  std::vector<JobID> ended;
  for (const JobState& job : jobs()) {
    if (!job.hasEnded() || std::ranges::find(told_, job.id) != told_.end()) continue;
    told_.push_back(job.id);
    ended.push_back(job.id);
    QStringList lines;
    if (job.phase == JobState::Phase::failed) {
      lines << tr("%1: %2").arg(QString::fromStdString(job.title), QString::fromStdString(job.error));
    }
    for (const std::string& note : job.notes) lines << QString::fromStdString(note);
    if (lines.isEmpty() && job.phase == JobState::Phase::done) {
      lines << tr("Done: %1").arg(QString::fromStdString(job.title));
    }
    if (!lines.isEmpty()) emit answered(lines.join(QLatin1Char('\n')), job.phase == JobState::Phase::failed);
  }
  emit jobsChanged();
  if (ended.empty()) return;
  // Not inside of what tells of it.
  QMetaObject::invokeMethod(
      this,
      [this, ended] {
        for (const JobID job : ended) desk_->jobs().forget(job);
        follow();
      },
      Qt::QueuedConnection);
}

}  // namespace sonmere
