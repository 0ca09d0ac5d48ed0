#include "recording/library/RecordingsLibrary.h"

#include "base/ThreadRules.h"

#include <cerrno>
#include <filesystem>

namespace sonmere {

namespace {

namespace fs = std::filesystem;

// Changes that come together make one scan.
constexpr Duration kBurst = fromMilliseconds(500);
// A drive that is mounted again tells nobody.
constexpr Duration kPollInterval = std::chrono::seconds(5);

bool isAbsent(const Error& error) { return error.code == ENOENT || error.code == ENOTDIR; }

// Something else than a folder stands where one is wanted, or none of that name can be.
bool isBlocked(const std::string& folder) {
  std::error_code ignored;
  fs::path at = folder;
  if (!fs::exists(at, ignored) && ignored == std::errc::filename_too_long) return true;
  while (at.has_relative_path() && !fs::exists(fs::status(at, ignored))) at = at.parent_path();
  return !fs::is_directory(at, ignored);
}

}  // namespace

RecordingsLibrary::RecordingsLibrary(const RecordingContext& context)
    : context_(context),
      folder_(std::make_shared<const RecordingsFolder>(context)),
      queue_(context.runtime.serialQueue("sonmere.library")),
      scanner_(std::make_shared<RecordingScanner>(context.log)) {
  publishFolder(folder_->state(chosenFolder()));
  folderObservers_.push_back(context.notifications.observe(kFolderChanged, [this](const NotificationInfo&) {
    publishFolder(folder_->state(chosenFolder()));
    scan();
  }));
}

RecordingsLibrary::~RecordingsLibrary() { *cancelled_ = true; }

Outcome<std::string> RecordingsLibrary::recordingsFolder() {
  assertMain();
  auto folder = folder_->current();
  const auto chosen = chosenFolder();
  const std::string inUse = folder.value_or(defaultFolder());
  const bool isNew = isWatching_ && watchedFolder_ != inUse;
  publishFolder({inUse, chosen.has_value() && inUse != *chosen});
  if (isNew) scanSoon(Duration::zero());
  return folder;
}

RecordingsLibrary::Choice RecordingsLibrary::chooseFolder(const std::string& folder) {
  assertMain();
  std::error_code ignored;
  const bool isThere = fs::exists(fs::status(folder, ignored));
  const bool isUsable = isFolderUsable(folder) && (!isThere || writeTest(folder));
  if (!isUsable && (isThere || isBlocked(folder))) return Choice::refused;
  context_.settings.set(RecordingsFolder::kPathKey, folder);
  context_.notifications.post(kFolderChanged);
  return isUsable ? Choice::taken : Choice::absent;
}

void RecordingsLibrary::useDefaultFolder() {
  assertMain();
  context_.settings.remove(RecordingsFolder::kPathKey);
  context_.notifications.post(kFolderChanged);
}

void RecordingsLibrary::scan() {
  assertMain();
  beginScan(true);
}

void RecordingsLibrary::beginScan(bool retriesRepairs) {
  if (*isScanning) {
    scanAgain_ = retriesRepairs || scanAgain_.value_or(false);
    return;
  }
  soon_.cancel();
  nextRepair_.cancel();
  poll_.cancel();
  isScanning.set(true);
  const auto published =
      lifetime_.guard([this](const std::shared_ptr<Result>& result) { publish(std::move(*result)); });
  queue_->post([published, scanner = scanner_, cancelled = cancelled_, &runtime = context_.runtime,
                folders = folder_, chosen = chosenFolder(), retriesRepairs] {
    if (*cancelled) return;
    if (retriesRepairs) scanner->forgetFailures();
    auto result = std::make_shared<Result>();
    result->folder = folders->state(chosen);
    result->scan = scanner->scan(result->folder.inUse, runtime.wallTime(), cancelled.get());
    runtime.mainQueue().post([published, result] { published(result); });
  });
}

void RecordingsLibrary::publish(Result result) {
  const auto life = lifetime_.witness();
  publishFolder(result.folder);
  if (result.scan.error)
    context_.log.warning("Sonmere: recordings can't be listed: " + result.scan.error->description);
  sessions.setIfChanged(std::move(result.scan.sessions));
  isScanning.set(false);
  if (life.isOver()) return;
  if (isWatching_) watchFolderInUse();
  if (isWatching_ && result.scan.nextRepairIn)
    nextRepair_ =
        context_.runtime.mainQueue().postAfter(*result.scan.nextRepairIn, [this] { beginScan(false); });
  if (const auto again = std::exchange(scanAgain_, std::nullopt)) beginScan(*again);
}

void RecordingsLibrary::publishFolder(const RecordingsFolderState& state) {
  folderInUse.setIfChanged(state.inUse);
  folderUnavailable.setIfChanged(state.isUnavailable);
}

void RecordingsLibrary::startWatching(std::unique_ptr<FolderWatch> watch) {
  assertMain();
  stopWatching();
  isWatching_ = true;
  watch_ = std::move(watch);
  beginScan(true);
}

void RecordingsLibrary::stopWatching() {
  assertMain();
  isWatching_ = false;
  watch_ = nullptr;
  watchedFolder_.clear();
  soon_.cancel();
  nextRepair_.cancel();
  poll_.cancel();
}

void RecordingsLibrary::folderChanged(const std::string& name) {
  if (name.empty())
    watchedFolder_.clear();
  else if (!parseRecordingName(name))
    return;
  scanSoon(kBurst);
}

void RecordingsLibrary::scanSoon(Duration delay) {
  // Counted from the first change: changes without end must not put the scan off for ever.
  if (!soon_)
    soon_ = context_.runtime.mainQueue().postAfter(delay, [this] {
      soon_ = {};
      beginScan(false);
    });
}

void RecordingsLibrary::watchFolderInUse() {
  bool isMissing = false;
  if (watch_ && watchedFolder_ != *folderInUse) {
    watchedFolder_.clear();
    const auto watched =
        watch_->watch(*folderInUse, [this](const std::string& name) { folderChanged(name); });
    if (watched) {
      watchedFolder_ = *folderInUse;
      // What changed before the watch began was not told.
      scanSoon(Duration::zero());
    } else if (isAbsent(watched.error())) {
      isMissing = true;
    } else {
      context_.log.warning("Sonmere: changes of the recordings folder go unnoticed: " +
                           watched.error().description);
      watch_ = nullptr;
    }
  }
  if (isMissing || *folderUnavailable) pollForFolder();
}

// Looks for the folder alone; the library is as it was until it is there.
void RecordingsLibrary::pollForFolder() {
  poll_ = context_.runtime.mainQueue().postAfter(kPollInterval, [this] {
    const auto looked =
        lifetime_.guard([this](const RecordingsFolderState& state, bool isThere) { polled(state, isThere); });
    queue_->post([looked, cancelled = cancelled_, &runtime = context_.runtime, folders = folder_,
                  chosen = chosenFolder()] {
      if (*cancelled) return;
      const RecordingsFolderState state = folders->state(chosen);
      std::error_code ignored;
      const bool isThere = fs::is_directory(state.inUse, ignored);
      runtime.mainQueue().post([looked, state, isThere] { looked(state, isThere); });
    });
  });
}

void RecordingsLibrary::polled(const RecordingsFolderState& state, bool isThere) {
  if (!isWatching_) return;
  const bool isNew = watch_ && isThere && state.inUse != watchedFolder_;
  if (isNew || state.isUnavailable != *folderUnavailable)
    beginScan(false);
  else if (!isThere || state.isUnavailable)
    pollForFolder();
}

}  // namespace sonmere
