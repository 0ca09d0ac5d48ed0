#pragma once

#include <string>

#include "base/LiveRuntime.h"
#include "base/Log.h"
#include "cli/Progress.h"
#include "cli/TimeText.h"
#include "editor/ExportFormat.h"
#include "editor/ExportProgress.h"
#include "editor/TrimRange.h"
#include "recording/RecordingBitDepth.h"

namespace sonmere {

// A command's long work on files, on its own thread: with a bar, and ended by Ctrl-C with nothing half done.
// Main thread.
class FileWork {
 public:
  // `command` stands in front of what is told, `what` in front of the bar.
  FileWork(std::string command, std::string what, bool json);
  ~FileWork();
  FileWork(const FileWork&) = delete;
  FileWork& operator=(const FileWork&) = delete;

  ExportProgress& progress() { return progress_; }
  // What engines log comes back as errors too; nobody reads it here.
  Log& log() { return log_; }
  // Draws the bar; true once the user wants an end.
  bool show(double fraction);

  int tell(int status, const std::string& text) const;
  // Takes the bar away and tells why the work did not succeed; returns the exit status.
  int fail(const Error& error);
  int badInput(const Error& error) const;
  // Tells when the export that was made did not hold its loudest samples.
  void noteClipping(const ExportFormat& format, RecordingBitDepth depth) const;

 private:
  const std::string command_;
  LiveRuntime runtime_;
  Log log_;
  ExportProgress progress_;
  Progress bar_;
};

// The format of a file to be written: as `--format` says, else as the extension of `out`, else `fallback`.
Outcome<ExportFormat> readExportFormat(const std::optional<std::string>& text, const std::string& out,
                                       const ExportFormat& fallback);

// A range of a file in frames. One that ends after it is held to it; one that begins there is an error.
Outcome<TrimRange> trimTo(const TrimRange& whole, const std::string& argument, const TimeRange& range);

}  // namespace sonmere
