#pragma once

#include <QObject>
#include <QStringList>
#include <memory>
#include <vector>

#include "base/Observable.h"
#include "jobs/RecordingsDesk.h"
#include "ui/model/ServiceLink.h"

namespace sonmere {

class Workbench;

// The recordings and what can be done with them, in the window's own process; the service only tells which
// folder is in use. What takes long is a job with progress.
class LibraryModel : public QObject {
  Q_OBJECT

 public:
  LibraryModel(Workbench& workbench, ServiceLink& link);
  ~LibraryModel() override;

  // The newest first.
  const std::vector<RecordingSession>& sessions() const { return *desk_->library().sessions; }
  bool isScanning() const { return *desk_->library().isScanning; }
  QString folder() const;
  // The chosen folder can't be used, and what is done instead; else empty.
  QString folderNote() const;
  RecordingsDesk& desk() { return *desk_; }
  const std::vector<JobState>& jobs() const { return *desk_->jobs().jobs; }

  void rescan() { desk_->library().scan(); }
  void rename(const QString& path, const QString& name);
  void moveToTrash(const QStringList& paths);
  // The files that went to the trash last, back to where they were.
  bool canRestore() const { return !trashed_.isEmpty(); }
  void restore();
  void importFiles(const QStringList& paths);
  void cancel(JobID job) { desk_->jobs().cancel(job); }

 signals:
  void changed();
  void jobsChanged();
  // What became of an act, or why it was refused.
  void answered(const QString& text, bool isRefusal);
  void renamed(const QString& from, const QString& to);
  // A take is complete, and its name may be changed.
  void trashedChanged();

 private:
  void open(const QString& folder);
  void take(Topic topic, const TopicJSON& value);
  void follow();
  void removed(const QString& path, const Outcome<std::string>& where);
  void tellJobs();

  Workbench& workbench_;
  QString onlyFolder_;    // as the service says; empty: that of the settings
  QString wantedFolder_;  // as the service told last
  std::unique_ptr<RecordingsDesk> desk_;
  std::vector<Subscription> observers_;
  QStringList trashed_;      // paths in the trash
  std::vector<JobID> told_;  // jobs whose end has been told
};

}  // namespace sonmere
