#include "jobs/ImportJob.h"

#include <fmt/format.h>

#include "audio/file/AudioFileReader.h"
#include "jobs/JobError.h"
#include "jobs/RecordingJobs.h"
#include "recording/RecordingFileName.h"
#include "recording/import/AudioFileImporter.h"
#include "recording/library/RecordingChoice.h"

namespace sonmere {

namespace {

// The session that the import goes to, and the rate of its files.
struct Target {
  std::string stamp;
  double sampleRate = 0;  // Hz
};

Outcome<Target> targetIn(const RecordingScan& scan, const std::string& wanted) {
  const auto session = chooseSession(scan.sessions, wanted);
  if (!session) return badRequest(fmt::format("session {}: {}", wanted, session.error().description));
  const std::string& stamp = (*session)->timestampString;
  for (const RecordingFile& file : (*session)->files)
    if (const auto reader = openAudioFile(file.url)) return Target{stamp, (*reader)->format().sampleRate};
  return badRequest(fmt::format("session {}: none of its files can be read", stamp));
}

Outcome<Target> targetOf(const ImportRequest& request, const JobContext& context) {
  if (request.session) {
    const auto scan = scanRecordings(request.folder, context);
    if (!scan) return std::unexpected(scan.error());
    return targetIn(*scan, *request.session);
  }
  const auto source = openAudioFile(request.source);
  if (!source) return badRequest(source.error().description);
  return Target{recordingStamp(context.runtime.wallTime()), (*source)->format().sampleRate};
}

}  // namespace

Outcome<std::string> importRecording(const ImportRequest& request, const JobContext& context) {
  const auto target = targetOf(request, context);
  if (!target) return std::unexpected(target.error());
  const TaskToken cancel(std::make_shared<std::atomic<bool>>(false));
  AudioFileImporter::Request work{request.source, request.folder, target->stamp, target->sampleRate};
  work.name = request.name;
  if (!request.session) work.newSession = &context.runtime;
  work.tell = [&](const std::string& note) { context.progress.note(note); };
  auto imported = AudioFileImporter(context.log).importFile(work, cancel, [&](double done) {
    context.progress.advanceTo(done);
    if (context.progress.isCancelled()) cancel.cancel();
  });
  if (!imported && imported.error().domain == ImportError::kDomain &&
      imported.error().code == ImportError::kSourceUnreadable)
    return badRequest(imported.error().description);
  return imported;
}

}  // namespace sonmere
