#include "cli/FileWork.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cmath>
#include <csignal>
#include <filesystem>

#include "cli/ArgumentText.h"
#include "cli/ExitStatus.h"
#include "cli/Text.h"
#include "editor/ExportDestination.h"
#include "editor/SessionExporter.h"

namespace sonmere {

namespace {

volatile std::sig_atomic_t interrupted = 0;

// The first signal ends the work, the next one the program.
void noteSignal(int signal) {
  if (interrupted) _exit(kExitSignalled + signal);
  interrupted = signal;
}

constexpr const char* kFormats = "wav, mp3-128, mp3-192, mp3-256 or mp3-320";

}  // namespace

FileWork::FileWork(std::string command, std::string what, bool json)
    : command_(std::move(command)),
      progress_(runtime_),
      bar_(runtime_, std::move(what), Progress::styleFor(json)) {
  interrupted = 0;
  std::signal(SIGINT, noteSignal);
  std::signal(SIGTERM, noteSignal);
  progress_.onAdvance = [this] {
    if (show(progress_.fraction())) progress_.cancel();
  };
}

FileWork::~FileWork() {
  std::signal(SIGINT, SIG_DFL);
  std::signal(SIGTERM, SIG_DFL);
}

bool FileWork::show(double fraction) {
  bar_.show(fraction);
  return interrupted != 0;
}

int FileWork::tell(int status, const std::string& text) const {
  const char* const clear = isatty(STDERR_FILENO) ? "\r\x1b[K" : "";
  fmt::print(stderr, "{}sonmere {}: {}\n", clear, command_, printable(text));
  return status;
}

int FileWork::fail(const Error& error) {
  const int status = interrupted ? kExitSignalled + interrupted : kExitFailure;
  const bool isForced = error.domain == kExportDestinationDomain && error.code == kExportWouldReplace;
  return tell(status, error.description + (isForced ? ", or add --force" : ""));
}

void FileWork::noteClipping(const ExportFormat& format, RecordingBitDepth depth) const {
  const bool holdsAll = format.kind == ExportFormat::Kind::wav && depth == RecordingBitDepth::float32;
  if (holdsAll || progress_.peak() <= 1) return;
  tell(kExitSuccess,
       fmt::format("the loudest sample is {:.1f} dB above full scale and was clipped; a lower gain "
                   "keeps it",
                   20 * std::log10(double(progress_.peak()))));
}

int FileWork::badInput(const Error& error) const { return tell(kExitBadInput, error.description); }

Outcome<ExportFormat> readExportFormat(const std::optional<std::string>& text, const std::string& out,
                                       const ExportFormat& fallback) {
  std::string extension = std::filesystem::path(out).extension().string();
  for (char& c : extension) c = char(std::tolower(static_cast<unsigned char>(c)));
  const auto kindOf = [](const std::string& e) -> std::optional<ExportFormat::Kind> {
    if (e == ".wav") return ExportFormat::Kind::wav;
    if (e == ".mp3") return ExportFormat::Kind::mp3;
    return std::nullopt;
  };
  const auto kind = kindOf(extension);
  if (!text) {
    if (!kind || *kind == fallback.kind) return fallback;
    return ExportFormat{*kind};
  }
  const auto format = exportFormat(*text);
  if (!format) return badArgument(fmt::format("--format: \"{}\" is not a format; use {}", *text, kFormats));
  if (kind && *kind != format->kind)
    return badArgument(fmt::format("--format {}: {} has another extension; name it .{}", *text, out,
                                   format->fileExtension()));
  return *format;
}

Outcome<TrimRange> trimTo(const TrimRange& whole, const std::string& argument, const TimeRange& times) {
  const auto frameAt = [&](double seconds) { return std::llround(seconds * whole.sampleRate); };
  TrimRange range = whole;
  range.startFrame = frameAt(times.from);
  if (times.until) range.endFrame = std::min<std::int64_t>(frameAt(*times.until), whole.totalFrames);
  const double length = double(whole.totalFrames) / whole.sampleRate;
  if (range.startFrame >= whole.totalFrames)
    return badArgument(
        fmt::format("{}: the file ends at {}, before this part begins", argument, lengthText(length, 3)));
  if (range.startFrame >= range.endFrame)
    return badArgument(fmt::format("{}: this part has no frame of the file", argument));
  return range;
}

}  // namespace sonmere
