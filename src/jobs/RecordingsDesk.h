#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Lifetime.h"
#include "jobs/EditJob.h"
#include "jobs/JobList.h"
#include "recording/library/RecordingTrash.h"
#include "recording/library/RecordingsLibrary.h"

namespace sonmere {

// The recordings and all work on their files, for whoever shows them: it needs no running service, only a
// runtime whose main queue is driven (any loop can: see LiveRuntime). What takes long is a job in the list,
// with progress and cancel; the rest is soon told. The library is looked through again after each change.
// Main thread; destroyed, it cancels its jobs and tells nobody.
class RecordingsDesk {
 public:
  // The path that is to be shown from now on, or why nothing was done, in words for the user.
  using Done = std::function<void(const Outcome<std::string>& path)>;

  // `homeTrash` as RecordingTrash has it. The context's runtime, log and settings outlive the desk.
  RecordingsDesk(const RecordingContext& context, std::string homeTrash);
  RecordingsDesk(const RecordingsDesk&) = delete;
  RecordingsDesk& operator=(const RecordingsDesk&) = delete;

  // `sessions` is what a page shows; see its `startWatching`.
  RecordingsLibrary& library() { return library_; }
  JobList& jobs() { return jobs_; }

  // A job for each file. Without a session (a stamp) each becomes one of its own.
  std::vector<JobID> importFiles(const std::vector<std::string>& files,
                                 const std::optional<std::string>& session = std::nullopt,
                                 const JobList::Ended& ended = nullptr);
  JobID edit(EditRequest request, JobList::Ended ended = nullptr);
  // How loud a part of a file is, as it is edited. `done` is told in place of a file.
  using Measured = std::function<void(const Outcome<Loudness>& loudness)>;
  JobID measure(const MixTrackInput& track, Measured done);

  // With `newName` in front of the stamp.
  void rename(const std::string& path, const std::string& newName, Done done);
  // To the trash; the path is what `restore` takes.
  void remove(const std::string& path, Done done);
  // Back to where it was.
  void restore(const std::string& pathInTrash, Done done);

 private:
  void soon(std::function<Outcome<std::string>()> work, Done done);
  // The folder for a file that is made, on main.
  Outcome<std::string> folder() { return library_.recordingsFolder(); }
  JobList::Ended scansAfter(JobList::Ended ended);

  Runtime& runtime_;
  Log& log_;
  const RecordingTrash trash_;
  const std::shared_ptr<Queue> queue_;
  RecordingsLibrary library_;
  JobList jobs_;
  Lifetime lifetime_;
};

}  // namespace sonmere
