#pragma once

#include <span>
#include <string>

#include "base/LiveRuntime.h"
#include "base/Log.h"
#include "base/StopSignals.h"
#include "cli/ExitStatus.h"
#include "cli/Progress.h"
#include "cli/TimeText.h"
#include "cli/WarningLog.h"
#include "editor/export/ExportFormat.h"
#include "editor/export/ExportProgress.h"
#include "editor/export/UnfinishedFile.h"
#include "editor/track/TrimRange.h"
#include "recording/RecordingBitDepth.h"

namespace sonmere {

// A command's long work on files, on its own thread: with a bar, and ended by Ctrl-C, or with its terminal,
// with nothing half done. Main thread.
class FileWork {
 public:
  // `command` stands in front of what is told, `what` in front of the bar.
  FileWork(std::string command, std::string what, bool json);
  FileWork(const FileWork&) = delete;
  FileWork& operator=(const FileWork&) = delete;

  ExportProgress& progress() { return progress_; }
  LiveRuntime& runtime() { return runtime_; }
  // What engines log comes back as errors too; nobody reads it here.
  Log& log() { return log_; }
  // Draws the bar; true once the user wants an end.
  bool show(double fraction);

  int tell(int status, const std::string& text) const;
  // Tells lines as they come; not beyond this object's life.
  WarningLog::Warn warn() const {
    return [this](const std::string& line) { tell(kExitSuccess, line); };
  }
  // Tells why the work did not succeed and returns the exit status, which is that of bad input where what the
  // arguments name can't be used.
  int fail(const Error& error);
  int badInput(const Error& error) const;
  // Notes that the export that was made did not hold its loudest samples, if so.
  void noteClipping(const ExportFormat& format, RecordingBitDepth depth);
  // Tells what was noted in the progress, each thing once.
  void tellNotes();

 private:
  const std::string command_;
  const StopSignals signals_{UnfinishedFile::removeAllInSignal};
  LiveRuntime runtime_;
  Log log_;
  ExportProgress progress_;
  std::size_t told_ = 0;  // of its notes
  Progress bar_;
};

// Whether a file can be written there, to be asked before long work. Changes nothing.
Outcome<void> checkOutputFile(const std::string& path, std::span<const std::string> sources, bool mayReplace);
// Whether files can be written to this folder, which need not be there yet. Changes nothing.
Outcome<void> checkOutputFolder(const std::string& path);

// The format of a file to be written: as `--format` says, else as the extension of `out`, else `fallback`.
// An extension of something else is an error.
Outcome<ExportFormat> readExportFormat(const std::optional<std::string>& text, const std::string& out,
                                       const ExportFormat& fallback);

// A range of a file in frames. One that ends after it is held to it; one that begins there is an error.
Outcome<TrimRange> trimTo(const TrimRange& whole, const std::string& argument, const TimeRange& range);

}  // namespace sonmere
