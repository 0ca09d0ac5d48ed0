#include "cli/FileWork.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "cli/ArgumentText.h"
#include "cli/ExitStatus.h"
#include "cli/Tell.h"
#include "cli/Text.h"
#include "editor/export/ExportDestination.h"
#include "editor/export/MP3EncoderError.h"
#include "editor/export/SessionExporter.h"
#include "recording/RecordingsFolder.h"

namespace sonmere {

namespace {

// Formats that are read but not written.
constexpr std::array kOtherExtensions = {".aif", ".aiff", ".aifc", ".caf",  ".ogg", ".oga", ".mp4",
                                         ".aac", ".w64",  ".au",   ".alac", ".wma", ".mp2"};

// Nothing was done then.
bool isBadInput(const Error& error) {
  return error.domain == "Arguments" ||
         (error.domain == kExportDestinationDomain && error.code != kExportOvertaken) ||
         (error.domain == kMP3EncoderErrorDomain &&
          error.code == std::int64_t(MP3EncoderError::unsupportedFormat));
}

constexpr const char* kFormats = "wav, flac, mp3-128, mp3-192, mp3-256, mp3-320, opus or m4a";

}  // namespace

FileWork::FileWork(std::string command, std::string what, bool json)
    : command_(std::move(command)),
      progress_(runtime_),
      bar_(runtime_, std::move(what), Progress::styleFor(json)) {
  progress_.onAdvance = [this] {
    if (show(progress_.fraction())) progress_.cancel();
  };
}

bool FileWork::show(double fraction) {
  bar_.show(fraction);
  return signals_.received() != 0;
}

int FileWork::tell(int status, const std::string& text) const {
  if (isatty(STDERR_FILENO)) fmt::print(stderr, "\r\x1b[K");
  return sonmere::tell(command_, status, text);
}

int FileWork::fail(const Error& error) {
  const int signal = signals_.received();
  const int status = signal != 0 ? kExitSignalled + signal : isBadInput(error) ? kExitBadInput : kExitFailure;
  const bool isForced = error.domain == kExportDestinationDomain && error.code == kExportWouldReplace;
  return tell(status, error.description + (isForced ? ", or add --force" : ""));
}

void FileWork::noteClipping(const ExportFormat& format, RecordingBitDepth depth) {
  const bool holdsAll = format.kind == ExportFormat::Kind::wav && depth == RecordingBitDepth::float32;
  const char* const where =
      format.kind == ExportFormat::Kind::mp3 ? "clips where it is played" : "was clipped";
  if (!holdsAll && progress_.peak() > 1)
    progress_.note(
        fmt::format("the loudest sample is {:.1f} dB above full scale and {}; a lower gain keeps it",
                    20 * std::log10(double(progress_.peak())), where));
}

void FileWork::tellNotes() {
  for (const auto& notes = progress_.notes(); told_ < notes.size(); ++told_) tell(kExitSuccess, notes[told_]);
}

int FileWork::badInput(const Error& error) const { return tell(kExitBadInput, error.description); }

Outcome<void> checkOutputFile(const std::string& path, std::span<const std::string> sources,
                              bool mayReplace) {
  if (path == "-")
    return badArgument("-: nothing is written to standard output; name a file (./- is one of that name)");
  if (auto checked = ExportDestination::check(path, sources, mayReplace); !checked) {
    if (checked.error().domain == kExportDestinationDomain) return checked;
    return badArgument(checked.error().description);
  }
  std::error_code ignored;
  return checkOutputFolder(std::filesystem::absolute(path, ignored).parent_path().string());
}

Outcome<void> checkOutputFolder(const std::string& path) {
  std::error_code ignored;
  if (path.empty()) return badArgument("the folder's name is empty");
  if (path == "-") return badArgument("-: this is no folder; ./- is one of that name");
  if (isFolderUsable(std::filesystem::absolute(path, ignored).string())) return {};
  return badArgument(fmt::format("{}: this is no folder that files can be written to", path));
}

Outcome<ExportFormat> readExportFormat(const std::optional<std::string>& text, const std::string& out,
                                       const ExportFormat& fallback) {
  std::string extension = std::filesystem::path(out).extension().string();
  for (char& c : extension) c = char(std::tolower(static_cast<unsigned char>(c)));
  const auto kindOf = [](const std::string& e) -> std::optional<ExportFormat::Kind> {
    for (const ExportFormat& format : allExportFormats())
      if (e == std::string(".") + format.fileExtension()) return format.kind;
    return std::nullopt;
  };
  const auto kind = kindOf(extension);
  if (std::ranges::find(kOtherExtensions, extension) != kOtherExtensions.end())
    return badArgument(fmt::format(
        "{}: this kind can be read but not written; name it .wav, .flac, .mp3, .opus or .m4a", out));
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
