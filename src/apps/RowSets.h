#pragma once

#include <functional>
#include <set>
#include <string>

#include "base/Log.h"
#include "base/Observable.h"
#include "base/SettingsStore.h"

namespace sonmere {

// Which rows the user hid, removed or pinned, and the automatic rule of the call audio row. Main thread.
class RowSets {
 public:
  // Loads the sets and runs the clean-slate migration.
  explicit RowSets(SettingsStore& settings);

  const std::set<std::string>& hiddenBundleIDs() const { return hidden_.get(); }
  const std::set<std::string>& removedBundleIDs() const { return removed_; }
  const std::set<std::string>& pinnedBundleIDs() const { return pinned_; }
  const Observable<std::set<std::string>>& hidden() { return hidden_; }

  // Told after each of the edits below.
  std::function<void()> didChange;

  // Each edits its set and saves it. Hiding or showing the call audio row sets the user's override instead.
  void hide(const std::string& bundleID);
  void unhide(const std::string& bundleID);
  void remove(const std::string& bundleID);
  void restore(const std::string& bundleID);
  void pin(const std::string& bundleID);
  void unpin(const std::string& bundleID);
  // The call audio row follows calls again.
  void removeCallAudioOverride();

  // Applies the visibility rule of the call audio row.
  void applyCallState(bool isCallActive);

 private:
  void migrate();
  void saveHidden();
  void publishHidden();
  void tellChange();

  SettingsStore& settings_;
  std::set<std::string> userHidden_;  // what the user chose, as stored
  OwnedObservable<std::set<std::string>, RowSets> hidden_;
  std::set<std::string> removed_;
  std::set<std::string> pinned_;
  bool isCallActive_ = false;
};

}  // namespace sonmere
