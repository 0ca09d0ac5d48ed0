#include "jobs/JobList.h"

#include <algorithm>

#include "editor/export/SessionExporter.h"

namespace sonmere {

using Phase = JobState::Phase;

struct JobList::Job {
  Job(Runtime& runtime, JobState first) : state(std::move(first)), background(runtime) {}

  JobState state;
  Work work;
  Ended ended;
  BackgroundWork background;
  Subscription progress;
};

JobList::JobList(Runtime& runtime, Log& log) : runtime_(runtime), log_(log) {}

JobList::~JobList() = default;

JobID JobList::add(std::string title, Work work, Ended ended) {
  const JobID id = ++lastID_;
  auto job = std::make_unique<Job>(runtime_, JobState{.id = id, .title = std::move(title)});
  job->work = std::move(work);
  job->ended = std::move(ended);
  all_.push_back(std::move(job));
  startNext();
  publish();
  return id;
}

JobList::Job* JobList::find(JobID id) {
  const auto found = std::ranges::find_if(all_, [id](const auto& job) { return job->state.id == id; });
  return found == all_.end() ? nullptr : found->get();
}

bool JobList::isBusy() const {
  return std::ranges::any_of(all_, [](const auto& job) { return !job->state.hasEnded(); });
}

JobList::Job* JobList::nextToStart() {
  const auto is = [](Phase phase) { return [phase](const auto& job) { return job->state.phase == phase; }; };
  if (std::size_t(std::ranges::count_if(all_, is(Phase::running))) >= kAtOnce) return nullptr;
  const auto next = std::ranges::find_if(all_, is(Phase::waiting));
  return next == all_.end() ? nullptr : next->get();
}

// Whoever hears of a start may ask for more.
void JobList::startNext() {
  while (Job* const job = nextToStart()) start(*job);
}

void JobList::start(Job& job) {
  job.state.phase = Phase::running;
  job.progress = job.background.progress.observe([this, &job](double fraction) {
    job.state.fraction = fraction;
    job.state.timeLeft = job.background.timeLeft();
    publish();
  });
  const auto files = std::make_shared<Outcome<Files>>();
  job.background.start(
      [&runtime = runtime_, &log = log_, work = job.work, files](ExportProgress& progress) -> Outcome<void> {
        *files = work({runtime, log, progress});
        return {};
      },
      [this, id = job.state.id, files](const Outcome<void>&, const ExportProgress& progress) {
        finished(id, *files, progress);
      });
}

void JobList::finished(JobID id, const Outcome<Files>& result, const ExportProgress& progress) {
  Job& job = *find(id);
  job.state.notes = progress.notes();
  if (result) {
    job.state.files = *result;
    end(job, Phase::done);
  } else {
    job.state.error = result.error().description;
    const bool wasCancelled = result.error().domain == kExportCancelledDomain || progress.isCancelled();
    end(job, wasCancelled ? Phase::cancelled : Phase::failed);
  }
  startNext();
  publish();
}

// Whoever is told may change the list.
void JobList::end(Job& job, Phase phase) {
  job.state.phase = phase;
  job.state.timeLeft.reset();
  job.progress = {};
  const Ended ended = std::exchange(job.ended, nullptr);
  const JobState state = job.state;
  if (ended) ended(state);
}

void JobList::cancel(JobID id) {
  Job* const job = find(id);
  if (!job) return;
  if (job->state.phase == Phase::running) job->background.cancel();
  if (job->state.phase != Phase::waiting) return;
  end(*job, Phase::cancelled);
  publish();
}

void JobList::forget(JobID id) {
  std::erase_if(all_, [id](const auto& job) { return job->state.id == id && job->state.hasEnded(); });
  publish();
}

void JobList::publish() {
  std::vector<JobState> states;
  for (const auto& job : all_) states.push_back(job->state);
  jobs.set(std::move(states));
}

}  // namespace sonmere
