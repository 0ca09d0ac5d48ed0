#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/LiveRuntime.h"
#include "base/Log.h"
#include "base/StopSignals.h"
#include "cli/ExitStatus.h"
#include "cli/Progress.h"
#include "cli/StandardInput.h"
#include "cli/WarningLog.h"
#include "editor/export/ExportFormat.h"
#include "editor/export/ExportProgress.h"
#include "editor/export/UnfinishedFile.h"
#include "jobs/ExportTarget.h"
#include "jobs/JobContext.h"

namespace sonmere {

// A command's long work on files, on its own thread: with a bar, and ended by Ctrl-C, or with its terminal,
// with nothing half done. Main thread.
class FileWork {
 public:
  // `command` stands in front of what is told, `what` in front of the bar.
  FileWork(std::string command, std::string what, bool json);
  FileWork(const FileWork&) = delete;
  FileWork& operator=(const FileWork&) = delete;

  // For a job on this thread.
  JobContext context() { return {runtime_, log_, progress_}; }
  ExportProgress& progress() { return progress_; }
  LiveRuntime& runtime() { return runtime_; }
  // What engines log comes back as errors too; nobody reads it here.
  Log& log() { return log_; }
  // Draws the bar; true once the user wants an end.
  bool show(double fraction);

  // The path of what comes in at standard input, which is read now, once.
  Outcome<std::string> standardInput();
  // A path as the user knows it: "-" for standard input.
  std::string shown(const std::string& path) const;

  int tell(int status, const std::string& text) const;
  // Tells lines as they come; not beyond this object's life.
  WarningLog::Warn warn() const {
    return [this](const std::string& line) { tell(kExitSuccess, line); };
  }
  // Tells why the work did not succeed and returns the exit status, which is that of bad input where what the
  // arguments name can't be used.
  int fail(const Error& error);
  int badInput(const Error& error) const;
  const std::vector<std::string>& notes() const { return progress_.notes(); }
  // Tells what was noted in the progress, each thing once.
  void tellNotes();

 private:
  std::string inWords(std::string text) const;

  const std::string command_;
  const StopSignals signals_{UnfinishedFile::removeAllInSignal};
  LiveRuntime runtime_;
  Log log_;
  ExportProgress progress_;
  std::size_t told_ = 0;  // of its notes
  Progress bar_;
  std::optional<StandardInput> input_;
};

// Where a command puts what it makes: a file, or with "-" standard output, where no JSON may go then.
Outcome<ExportTarget> readTarget(const std::string& option, const std::string& text, bool mayReplace,
                                 bool printsJSON);

// The format of a file to be written: as `--format` says, else as the extension of `out`, else `fallback`.
// An extension of something else is an error.
Outcome<ExportFormat> readExportFormat(const std::optional<std::string>& text, const std::string& out,
                                       const ExportFormat& fallback);

}  // namespace sonmere
