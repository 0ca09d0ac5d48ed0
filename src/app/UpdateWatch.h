#pragma once

#include <functional>
#include <string>

#include "app/PlatformUpdates.h"
#include "base/Lifetime.h"
#include "base/Log.h"
#include "base/Observable.h"
#include "base/Runtime.h"
#include "base/SettingsStore.h"
#include "base/TaskToken.h"

namespace sonmere {

// Asks once a day whether there is a newer version, while the user wants that: as long as the setting is off,
// which it is from the start, nothing is asked. Main thread; all that it is given outlives it.
class UpdateWatch {
 public:
  static constexpr const char* kSettingKey = "sonmere.updateCheck";
  static constexpr const char* kLastCheckKey = "sonmere.lastUpdateCheckDate";  // ISO 8601
  static constexpr const char* kDismissedKey = "sonmere.dismissedUpdateVersion";
  static constexpr Duration kFirstLook = std::chrono::minutes(1);
  static constexpr Duration kInterval = std::chrono::hours(1);
  static constexpr Duration kDay = std::chrono::hours(24);

  // Runs where waiting is allowed.
  using Fetch = std::function<Outcome<UpdateOffer>()>;
  UpdateWatch(Runtime& runtime, Log& log, SettingsStore& settings, Fetch fetch);

  // A version that is newer than this program and was not dismissed.
  OwnedObservable<std::optional<UpdateOffer>, UpdateWatch> offer;

 private:
  void look();
  bool isDue() const;
  void take(const Outcome<UpdateOffer>& outcome);

  Runtime& runtime_;
  Log& log_;
  SettingsStore& settings_;
  const Fetch fetch_;
  ScopedTask first_, looks_;
  Lifetime life_;
};

}  // namespace sonmere
