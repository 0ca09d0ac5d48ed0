#include "cli/FileWork.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>

#include "cli/ArgumentText.h"
#include "cli/ExitStatus.h"
#include "cli/Tell.h"
#include "control/VolumeText.h"
#include "editor/export/ExportDestination.h"
#include "editor/export/MP3EncoderError.h"
#include "jobs/JobError.h"

namespace sonmere {

namespace {

// Formats that are read but not written.
constexpr std::array kOtherExtensions = {".aif", ".aiff", ".aifc", ".caf",  ".ogg", ".oga", ".mp4",
                                         ".aac", ".w64",  ".au",   ".alac", ".wma", ".mp2"};

// Nothing was done then.
bool isBadInput(const Error& error) {
  return error.domain == kArgumentErrorDomain || error.domain == kJobRequestDomain ||
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
  return sonmere::tell(command_, status, inWords(text));
}

int FileWork::fail(const Error& error) {
  const int signal = signals_.received();
  const int status = signal != 0 ? kExitSignalled + signal : isBadInput(error) ? kExitBadInput : kExitFailure;
  const bool isForced = error.domain == kExportDestinationDomain && error.code == kExportWouldReplace;
  return tell(status, error.description + (isForced ? ", or add --force" : ""));
}

void FileWork::tellNotes() {
  for (const auto& notes = progress_.notes(); told_ < notes.size(); ++told_) tell(kExitSuccess, notes[told_]);
}

int FileWork::badInput(const Error& error) const { return tell(kExitBadInput, error.description); }

Outcome<std::string> FileWork::standardInput() {
  if (!input_) {
    auto input = StandardInput::read([this] { return signals_.received() != 0; });
    if (!input) return std::unexpected(input.error());
    input_ = std::move(*input);
  }
  return input_->path();
}

std::string FileWork::shown(const std::string& path) const {
  return input_ && path == input_->path() ? "-" : path;
}

// Work knows standard input as a file with a path that means nothing to the user.
std::string FileWork::inWords(std::string text) const {
  if (!input_) return text;
  for (std::size_t at = 0; (at = text.find(input_->path(), at)) != std::string::npos;)
    text.replace(at, input_->path().size(), "standard input");
  return text;
}

Outcome<ExportTarget> readTarget(const std::string& option, const std::string& text, bool mayReplace,
                                 bool printsJSON) {
  if (text != "-") return ExportTarget{text, mayReplace};
  if (printsJSON) return badArgument(option + " -: standard output has the JSON; name a file");
  if (isatty(STDOUT_FILENO))
    return badArgument(option + " -: standard output is a terminal; send it to a program, or name a file");
  return ExportTarget{"standard output", false, STDOUT_FILENO};
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

}  // namespace sonmere
