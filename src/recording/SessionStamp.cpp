#include "recording/SessionStamp.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <filesystem>
#include <set>

#include "recording/RecordingFileName.h"

namespace sonmere {

namespace {

// Where somebody holds the folder for longer the names alone decide.
constexpr Duration kLongestWait = fromMilliseconds(500);

std::set<std::string> stampsIn(const std::string& folder) {
  std::set<std::string> stamps;
  std::error_code ignored;
  for (std::filesystem::directory_iterator entry(folder, ignored), end; entry != end;
       entry.increment(ignored)) {
    const std::string name = entry->path().filename().string();
    if (const auto parts = parseRecordingName(name)) stamps.emplace(parts->stamp);
  }
  return stamps;
}

}  // namespace

SessionStamp::SessionStamp(Runtime& runtime, const std::string& folder, Date now)
    : folder_(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)), date_(now) {
  // Where there are no locks, nobody is waited for.
  const auto isOurs = [&] { return ::flock(folder_.get(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK; };
  if (folder_.valid()) runtime.waitUntil(isOurs, kLongestWait);
  const auto taken = stampsIn(folder);
  while (taken.contains(text())) date_ += std::chrono::seconds(1);
}

std::string SessionStamp::text() const { return recordingStamp(date_); }

}  // namespace sonmere
