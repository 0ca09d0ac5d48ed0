#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Lifetime.h"
#include "base/Observable.h"
#include "recording/RecordingsFolder.h"
#include "recording/library/FolderWatch.h"
#include "recording/library/RecordingScanner.h"
#include "recording/library/RecordingSession.h"

namespace sonmere {

// Decides where recordings go, and finds them again. A recording's name is the only index there is: the
// library is what a scan of the folder says. Main thread; scans run on a queue of their own.
class RecordingsLibrary {
 public:
  // Posted when another folder is chosen; the library itself takes it up then.
  static constexpr const char* kFolderChanged = "sonmereRecordingsFolderChanged";

  explicit RecordingsLibrary(const RecordingContext& context);
  // A scan under way ends early and is forgotten.
  ~RecordingsLibrary();

  // The folder for a new recording; see RecordingsFolder::current.
  Outcome<std::string> recordingsFolder();
  const std::string& defaultFolder() const { return folder_->defaultFolder(); }
  std::optional<std::string> chosenFolder() const { return folder_->chosen(); }
  bool isFolderUsable(const std::string& folder) const { return sonmere::isFolderUsable(folder); }
  bool writeTest(const std::string& folder) const { return folder_->writeTest(folder).has_value(); }

  // What became of a choice: `absent` is kept too, and comes into force when the folder is there.
  enum class Choice { taken, absent, refused };
  // A full path. Makes nothing; what can't be written to is refused.
  Choice chooseFolder(const std::string& folder);
  void useDefaultFolder();

  // Looks through the folder in force, and tries failed repairs again. Asked for during a scan, another
  // follows it.
  void scan();
  // Scans, and from now on again after each change of the folder's recordings, when a folder that was missing
  // is back, and when an interrupted recording has rested enough to be mended. `watch` may be nothing where
  // folders can't be watched.
  void startWatching(std::unique_ptr<FolderWatch> watch);
  void stopWatching();

  OwnedObservable<std::vector<RecordingSession>, RecordingsLibrary> sessions;
  OwnedObservable<bool, RecordingsLibrary> isScanning{false};
  OwnedObservable<bool, RecordingsLibrary> folderUnavailable{false};
  OwnedObservable<std::string, RecordingsLibrary> folderInUse;

 private:
  struct Result {
    RecordingsFolderState folder;
    RecordingScan scan;
  };
  void beginScan(bool retriesRepairs);
  void publish(Result result);
  void publishFolder(const RecordingsFolderState& state);
  void folderChanged(const std::string& name);
  void scanSoon(Duration delay);
  void watchFolderInUse();
  void pollForFolder();
  void polled(const RecordingsFolderState& state, bool isThere);

  const RecordingContext context_;
  const std::shared_ptr<const RecordingsFolder> folder_;
  const std::shared_ptr<Queue> queue_;
  const std::shared_ptr<RecordingScanner> scanner_;  // the queue's
  const std::shared_ptr<std::atomic<bool>> cancelled_ = std::make_shared<std::atomic<bool>>(false);
  std::optional<bool> scanAgain_;  // whether that one retries repairs

  bool isWatching_ = false;
  std::unique_ptr<FolderWatch> watch_;
  std::string watchedFolder_;  // empty: none
  ScopedTask soon_;
  ScopedTask nextRepair_;
  ScopedTask poll_;
  std::vector<Subscription> folderObservers_;
  // Tells what comes from the queue whether this object is still there.
  Lifetime lifetime_;
};

}  // namespace sonmere
