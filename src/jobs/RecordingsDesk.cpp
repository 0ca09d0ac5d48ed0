#include "jobs/RecordingsDesk.h"

#include <algorithm>
#include <filesystem>

#include "editor/export/ParallelLoudness.h"
#include "jobs/ImportJob.h"
#include "jobs/JobError.h"
#include "jobs/RecordingJobs.h"

namespace sonmere {

namespace fs = std::filesystem;

namespace {

std::string nameOf(const std::string& path) { return fs::path(path).filename().string(); }

Outcome<JobList::Files> inList(Outcome<std::string> path) {
  if (!path) return std::unexpected(path.error());
  return JobList::Files{std::move(*path)};
}

Outcome<std::string> restoreFrom(const RecordingTrash& trash, const std::string& folder,
                                 const std::string& path) {
  const auto entries = trash.entriesOf(folder);
  const auto found = std::ranges::find(entries, path, &RecordingTrash::Entry::path);
  if (found == entries.end()) return badRequest(nameOf(path) + " is no longer in the trash");
  if (auto restored = restoreFromTrash(*found, folder, trash); !restored)
    return std::unexpected(restored.error());
  return found->origin;
}

}  // namespace

RecordingsDesk::RecordingsDesk(const RecordingContext& context, std::string homeTrash)
    : runtime_(context.runtime),
      log_(context.log),
      trash_(std::move(homeTrash)),
      queue_(runtime_.serialQueue("sonmere.recordings")),
      library_(context),
      jobs_(runtime_, log_) {}

JobList::Ended RecordingsDesk::scansAfter(JobList::Ended ended) {
  return [this, ended = std::move(ended)](const JobState& state) {
    if (state.phase == JobState::Phase::done) library_.scan();
    if (ended) ended(state);
  };
}

std::vector<JobID> RecordingsDesk::importFiles(const std::vector<std::string>& files,
                                               const std::optional<std::string>& session,
                                               const JobList::Ended& ended) {
  const auto into = folder();
  std::vector<JobID> ids;
  for (const std::string& file : files)
    ids.push_back(jobs_.add(
        "Import of " + nameOf(file),
        [file, into, session](const JobContext& context) -> Outcome<JobList::Files> {
          if (!into) return std::unexpected(into.error());
          return inList(importRecording({file, *into, session, std::nullopt}, context));
        },
        scansAfter(ended)));
  return ids;
}

JobID RecordingsDesk::edit(EditRequest request, JobList::Ended ended) {
  std::string title = "Copy of " + nameOf(request.file);
  return jobs_.add(
      std::move(title),
      [request = std::move(request)](const JobContext& context) -> Outcome<JobList::Files> {
        const auto edited = runEdit(request, context);
        if (!edited) return std::unexpected(edited.error());
        return request.save ? JobList::Files{request.save->path} : JobList::Files{};
      },
      scansAfter(std::move(ended)));
}

JobID RecordingsDesk::measure(const MixTrackInput& track, Measured done) {
  const auto found = std::make_shared<Loudness>();
  return jobs_.add(
      "Loudness of " + nameOf(track.url),
      [track, found](const JobContext& context) -> Outcome<JobList::Files> {
        const auto loudness = measureFileLoudness(context.runtime, track, context.progress);
        if (!loudness) return std::unexpected(loudness.error());
        *found = *loudness;
        return JobList::Files{};
      },
      [found, done = std::move(done)](const JobState& state) {
        if (state.phase == JobState::Phase::done) return done(*found);
        if (state.phase == JobState::Phase::failed)
          done(std::unexpected(Error{"RecordingsDesk", 1, state.error}));
      });
}

void RecordingsDesk::soon(std::function<Outcome<std::string>()> work, Done done) {
  auto tell = lifetime_.guard([this, done = std::move(done)](const Outcome<std::string>& result) {
    if (result) library_.scan();
    if (done) done(result);
  });
  queue_->post([&runtime = runtime_, work = std::move(work), tell = std::move(tell)] {
    runtime.mainQueue().post([result = work(), tell] { tell(result); });
  });
}

void RecordingsDesk::rename(const std::string& path, const std::string& newName, Done done) {
  soon([&log = log_, path, newName] { return renameWithEdits(path, newName, true, log); }, std::move(done));
}

void RecordingsDesk::remove(const std::string& path, Done done) {
  soon([trash = trash_, path, now = runtime_.wallTime()] { return moveToTrash(path, trash, now); },
       std::move(done));
}

void RecordingsDesk::restore(const std::string& pathInTrash, Done done) {
  soon([trash = trash_, folder = *library_.folderInUse,
        pathInTrash] { return restoreFrom(trash, folder, pathInTrash); },
       std::move(done));
}

}  // namespace sonmere
