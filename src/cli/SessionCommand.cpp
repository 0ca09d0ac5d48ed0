#include "cli/SessionCommand.h"

#include <fmt/format.h>

#include "cli/ArgumentText.h"
#include "cli/ExitStatus.h"
#include "cli/FileWork.h"
#include "cli/JSONOutput.h"
#include "cli/SessionPrinter.h"
#include "cli/Text.h"
#include "cli/UserSettings.h"
#include "jobs/JobError.h"
#include "jobs/OpenSession.h"
#include "jobs/SessionChange.h"
#include "jobs/SessionExport.h"

namespace sonmere {

namespace {

// A command on one session.
class SessionWork {
 public:
  SessionWork(const SessionArguments& arguments, const char* what)
      : arguments_(arguments), work_("session", what, arguments.json) {}

  int show();
  int edit();
  int exportFiles();

 private:
  Outcome<void> open();
  Outcome<SessionChange> readChange() const;
  Outcome<SessionExportRequest> readExport() const;
  Outcome<ExportFormat> readFormat() const;
  void printExport(const SessionExportRequest& request, const std::vector<std::string>& paths) const;
  int fail(const Error& error);

  const SessionArguments& arguments_;
  FileWork work_;
  std::optional<UserSettings> settings_;
  std::optional<OpenSession> open_;
};

Outcome<void> SessionWork::open() {
  auto settings = UserSettings::read(work_.warn());
  if (!settings) return std::unexpected(settings.error());
  settings_ = std::move(*settings);
  if (arguments_.stamp.empty()) return badArgument("the session's stamp is empty");
  Outcome<std::string> folder = settings_->recordingsFolder;
  if (arguments_.folder)
    folder = readFolder("--folder", *arguments_.folder);
  else if (settings_->unavailable)
    work_.tell(kExitSuccess, *settings_->unavailable);
  if (!folder) return std::unexpected(folder.error());
  auto opened = openSession(*folder, arguments_.stamp, work_.context());
  if (!opened) return badRequest(opened.error().description);
  open_ = std::move(*opened);
  return {};
}

int SessionWork::fail(const Error& error) {
  const SessionTrack* track = open_ ? open_->unreadableInMix() : nullptr;
  if (track && isFault(error, JobFault::unreadableTrack))
    return work_.badInput(
        {error.domain, error.code,
         fmt::format("{}; to leave it out, mute it with \"sonmere session edit '{}' '{}' --mute\"",
                     error.description, arguments_.stamp, track->name)});
  return work_.fail(withOption(error, arguments_.edit));
}

int SessionWork::show() {
  if (auto opened = open(); !opened) return fail(opened.error());
  std::optional<Loudness> loudness;
  if (arguments_.loudness) {
    const auto measured = measureMix(*open_, work_.context());
    if (!measured) return fail(measured.error());
    loudness = *measured;
  }
  work_.tellNotes();
  printSession(*open_, loudness, work_.notes(), arguments_.json);
  return kExitSuccess;
}

Outcome<SessionChange> SessionWork::readChange() const {
  auto change = readTrackChange(arguments_.edit);
  if (!change) return std::unexpected(change.error());
  SessionChange all{arguments_.tracks, arguments_.all,  *change,
                    arguments_.mute,   arguments_.solo, arguments_.reset};
  if (all.isEmpty())
    return badArgument(
        "say what to change: --trim, --fade-in, --fade-out, --gain, --normalise, --mute, --unmute, --solo, "
        "--unsolo or --reset");
  if (all.tracks.empty() && !all.all) return badArgument("name the tracks to edit, or --all");
  return all;
}

int SessionWork::edit() {
  const auto change = readChange();
  if (!change) return fail(change.error());
  if (auto opened = open(); !opened) return fail(opened.error());
  if (const auto changed = changeSession(*open_, *change, work_.context()); !changed)
    return fail(changed.error());
  work_.tellNotes();
  printSession(*open_, std::nullopt, work_.notes(), arguments_.json);
  return kExitSuccess;
}

// Stems are WAV unless told otherwise: they are for another program to go on with.
Outcome<ExportFormat> SessionWork::readFormat() const {
  if (arguments_.stems) return readExportFormat(arguments_.format, "", ExportFormat{});
  return readExportFormat(arguments_.format, arguments_.out, settings_->exportFormat);
}

Outcome<SessionExportRequest> SessionWork::readExport() const {
  const auto format = readFormat();
  if (!format) return std::unexpected(format.error());
  const auto change = readTrackChange(arguments_.edit);
  if (!change) return std::unexpected(change.error());
  if (arguments_.stems && arguments_.force)
    return badArgument("--force: stems replace nothing, they take free names; leave it out");
  if (arguments_.stems && change->normalising)
    return badArgument(
        "--normalise is of a mix; give stems a --gain, or normalise tracks with \"session edit\"");
  if (arguments_.stems && arguments_.out == "-")
    return badArgument("-: this is no folder; ./- is one of that name");
  const auto target = readTarget("--out", arguments_.out, arguments_.force, arguments_.json);
  if (!target) return std::unexpected(target.error());
  using enum SessionExportRequest::Kind;
  return SessionExportRequest{arguments_.stems ? stems : mix,
                              *target,
                              *format,
                              settings_->bitDepth,
                              change->gainDb,
                              change->normalising};
}

int SessionWork::exportFiles() {
  if (auto opened = open(); !opened) return fail(opened.error());
  const auto request = readExport();
  if (!request) return fail(request.error());
  SessionExport job(*open_, *request, work_.context());
  if (const auto prepared = job.prepare(); !prepared) return fail(prepared.error());
  work_.tellNotes();
  const auto paths = job.write();
  if (!paths) return fail(paths.error());
  work_.tellNotes();
  if (!request->out.isStream()) printExport(*request, *paths);
  return kExitSuccess;
}

void SessionWork::printExport(const SessionExportRequest& request,
                              const std::vector<std::string>& paths) const {
  if (!arguments_.json) {
    for (const std::string& path : paths) fmt::print("{}\n", printable(path));
    return;
  }
  OutputJSON all{{"session", open_->session.timestampString},
                 {"kind", arguments_.stems ? "stems" : "mix"},
                 {"format", name(request.format)},
                 {"files", paths}};
  if (const auto& notes = work_.notes(); !notes.empty()) all["notes"] = notes;
  printJSON(all);
}

}  // namespace

int runSessionShow(const SessionArguments& arguments) { return SessionWork(arguments, "Measuring").show(); }

int runSessionEdit(const SessionArguments& arguments) { return SessionWork(arguments, "Measuring").edit(); }

int runSessionExport(const SessionArguments& arguments) {
  return SessionWork(arguments, "Exporting").exportFiles();
}

}  // namespace sonmere
