#pragma once

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "base/Observable.h"
#include "editor/BackgroundWork.h"
#include "jobs/JobContext.h"
#include "jobs/JobState.h"

namespace sonmere {

// Long work on files beside the main thread, in the order in which it was asked for: some at a time, each
// with its progress, and each to be cancelled. Main thread; runtime and log outlive it and the work under
// way.
class JobList {
 public:
  using Files = std::vector<std::string>;
  // Runs on a worker; the paths of what was made.
  using Work = std::function<Outcome<Files>(const JobContext& context)>;
  // Told once the job has ended, however. It stays in the list until it is forgotten.
  using Ended = std::function<void(const JobState& state)>;

  static constexpr std::size_t kAtOnce = 2;

  JobList(Runtime& runtime, Log& log);
  // What runs is cancelled, and nobody is told.
  ~JobList();
  JobList(const JobList&) = delete;
  JobList& operator=(const JobList&) = delete;

  // In the order of `add`. Set as often as ten times a second while something runs.
  OwnedObservable<std::vector<JobState>, JobList> jobs;

  JobID add(std::string title, Work work, Ended ended = nullptr);
  // One that waits ends at once, one that runs as soon as it notices, with nothing half done.
  void cancel(JobID id);
  // Takes a job that has ended off the list.
  void forget(JobID id);
  bool isBusy() const;

 private:
  struct Job;
  Job* find(JobID id);
  Job* nextToStart();
  void startNext();
  void start(Job& job);
  void finished(JobID id, const Outcome<Files>& result, const ExportProgress& progress);
  void end(Job& job, JobState::Phase phase);
  void publish();

  Runtime& runtime_;
  Log& log_;
  JobID lastID_ = 0;
  std::list<std::unique_ptr<Job>> all_;
};

}  // namespace sonmere
