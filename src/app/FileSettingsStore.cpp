#include "app/FileSettingsStore.h"

#include <fmt/format.h>

#include <mutex>

#include "app/PlatformFolders.h"
#include "app/SettingsFile.h"

namespace sonmere {

namespace {

// How long a write waits for others to be written with it.
constexpr Duration kFlushDelay = fromSeconds(0.1);
// How long after a failure to try again: a full disk may have room then.
constexpr Duration kRetryDelay = fromSeconds(5);

}  // namespace

std::filesystem::path defaultSettingsPath() { return userSettingsFile(); }

struct FileSettingsStore::State : std::enable_shared_from_this<State> {
  State(Runtime& runtime, Log& logToUse, const std::filesystem::path& path)
      : log(logToUse), queue(runtime.serialQueue("sonmere.settings")), file(logToUse, path) {}

  Log& log;
  const std::shared_ptr<Queue> queue;

  std::mutex fileMutex;  // taken first where both are needed
  SettingsFile file;
  bool hasToldFailure = false;

  std::mutex mutex;  // guards what follows
  SettingsFile::Values values;
  SettingsFile::Changes unwritten;
  bool isScheduled = false;

  void change(std::string_view key, std::optional<SettingsValue> value);
  void schedule(Duration delay);
  void flushInBackground();
  Outcome<void> flush();
  void keepUnwritten();
};

void FileSettingsStore::State::change(std::string_view key, std::optional<SettingsValue> value) {
  const std::lock_guard lock(mutex);
  if (value)
    values.insert_or_assign(std::string(key), *value);
  else if (const auto found = values.find(key); found != values.end())
    values.erase(found);
  unwritten.insert_or_assign(std::string(key), std::move(value));
  schedule(kFlushDelay);
}

// With the mutex held.
void FileSettingsStore::State::schedule(Duration delay) {
  if (std::exchange(isScheduled, true)) return;
  queue->postAfter(delay, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->flushInBackground();
  });
}

void FileSettingsStore::State::flushInBackground() {
  {
    const std::lock_guard lock(mutex);
    isScheduled = false;
  }
  if (flush()) return;
  const std::lock_guard lock(mutex);
  schedule(kRetryDelay);
}

Outcome<void> FileSettingsStore::State::flush() {
  const std::lock_guard fileLock(fileMutex);
  SettingsFile::Changes changes;
  {
    const std::lock_guard lock(mutex);
    changes.swap(unwritten);
  }
  if (changes.empty()) return {};
  const auto result = file.apply(changes);
  if (result) {
    if (std::exchange(hasToldFailure, false)) log.info("The settings are saved again.");
    return result;
  }
  if (!std::exchange(hasToldFailure, true))
    log.error(fmt::format("The settings could not be saved. {}", result.error().description));
  const std::lock_guard lock(mutex);
  unwritten.merge(changes);  // what was changed again meanwhile stays
  return result;
}

// A background flush that is under way must find nothing more to do.
void FileSettingsStore::State::keepUnwritten() {
  const std::lock_guard fileLock(fileMutex);
  SettingsFile::Changes changes;
  {
    const std::lock_guard lock(mutex);
    changes.swap(unwritten);
  }
  const auto kept = file.keepForLater(changes);
  if (!kept) return log.error(fmt::format("The settings are lost. {}", kept.error().description));
  log.warning(fmt::format("What was changed is kept in {} and taken up at the next start.", kept->string()));
}

FileSettingsStore::FileSettingsStore(Runtime& runtime, Log& log, const std::filesystem::path& path)
    : state_(std::make_shared<State>(runtime, log, path)) {
  auto values = state_->file.load();
  if (values) {
    state_->values = std::move(*values);
    return;
  }
  loadError_ = values.error();
  log.error(fmt::format("The settings could not be read; the defaults apply. {}", loadError_->description));
}

FileSettingsStore::~FileSettingsStore() {
  if (!synchronize()) state_->keepUnwritten();
}

std::optional<SettingsValue> FileSettingsStore::object(std::string_view key) const {
  const std::lock_guard lock(state_->mutex);
  const auto found = state_->values.find(key);
  if (found == state_->values.end() || found->second.isNull()) return std::nullopt;
  return found->second;
}

void FileSettingsStore::set(std::string_view key, SettingsValue value) {
  state_->change(key, std::move(value));
}
void FileSettingsStore::remove(std::string_view key) { state_->change(key, std::nullopt); }

std::vector<std::string> FileSettingsStore::keys() const {
  const std::lock_guard lock(state_->mutex);
  std::vector<std::string> keys;
  for (const auto& entry : state_->values) keys.push_back(entry.first);
  return keys;
}

Outcome<void> FileSettingsStore::synchronize() { return state_->flush(); }

}  // namespace sonmere
