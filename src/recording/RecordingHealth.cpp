#include "recording/RecordingHealth.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "base/AtomicFile.h"
#include "base/DateText.h"
#include "base/FileDescriptor.h"

namespace sonmere {

namespace {

constexpr Duration kNoticeInterval = std::chrono::seconds(5);

std::string jsonLine(const WriterFailure& failure) {
  const nlohmann::ordered_json object = {{"writer", failure.writer},
                                         {"file", failure.file},
                                         {"error", failure.error},
                                         {"atFrame", failure.atFrame},
                                         {"date", iso8601Text(failure.date)}};
  // File names may hold bytes that are no UTF-8.
  return object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

// In one write, so that it goes to the end as a whole.
Outcome<void> appendLine(const std::string& path, const std::string& line) {
  const FileDescriptor file(
      ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file.valid()) return std::unexpected(posixError(errno, "Open " + path));
  errno = ENOSPC;  // what a short write without an error means
  if (::write(file.get(), line.data(), line.size()) != ssize_t(line.size()))
    return std::unexpected(posixError(errno, "Append to " + path));
  return {};
}

std::string without(std::string text, const std::string& part) {
  if (part.empty()) return text;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at))
    text.erase(at, part.size());
  return text;
}

std::string lowerCase(std::string text) {
  for (char& c : text) c = char(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

bool saysDiskFull(const std::string& error) {
  return error.contains("NSPOSIXErrorDomain 28") || error.contains("NSCocoaErrorDomain 640") ||
         lowerCase(error).contains("space");
}

}  // namespace

std::string RecordingHealth::errorText(const Error& error) {
  return fmt::format("{} {}: {}", error.domain, error.code, error.description);
}

std::string RecordingHealth::reason(const WriterFailure& failure, const std::string& path) {
  if (saysDiskFull(without(without(failure.error, path), failure.file)))
    return "your disk is full. The files recorded so far were saved — free up space and record again.";
  return fmt::format("writing \"{}\" failed ({}). Files were saved up to the failure.", failure.file,
                     failure.error);
}

void RecordingHealth::noteWriterFailure(const std::string& writer, const std::string& path,
                                        const Error& error, std::int64_t atFrame) {
  const WriterFailure failure{writer, std::filesystem::path(path).filename().string(), errorText(error),
                              atFrame, runtime_.wallTime()};
  if (!keep(failure)) return;
  appendToFile(failure);
  postNotice(reason(failure, path));
}

bool RecordingHealth::keep(const WriterFailure& failure) {
  const Duration now = runtime_.uptime();
  const std::lock_guard lock(mutex_);
  failures_.push_back(failure);
  if (failures_.size() > kKept) failures_.pop_front();
  ++failureCount_;
  if (lastNotice_ && now - *lastNotice_ <= kNoticeInterval) return false;
  lastNotice_ = now;
  return true;
}

void RecordingHealth::appendToFile(const WriterFailure& failure) {
  const std::lock_guard lock(fileMutex_);
  auto written = createFolders(folder_);
  if (written) written = appendLine(folder_ + "/" + kFileName, jsonLine(failure));
  if (!written) log_.warning("RecordingHealth: " + written.error().description);
}

void RecordingHealth::postNotice(std::string reason) {
  runtime_.mainQueue().post([weak = weak_from_this(), reason = std::move(reason)] {
    if (const auto self = weak.lock()) self->notifications_.post(kWriteFailed, {{"reason", reason}});
  });
}

std::vector<WriterFailure> RecordingHealth::failures() const {
  const std::lock_guard lock(mutex_);
  return {failures_.begin(), failures_.end()};
}

std::int64_t RecordingHealth::failureCount() const {
  const std::lock_guard lock(mutex_);
  return failureCount_;
}

}  // namespace sonmere
