#pragma once

#include <set>
#include <string>
#include <vector>

#include "apps/AppEffects.h"
#include "apps/RowSets.h"
#include "apps/TappedAppInfo.h"
#include "base/Observable.h"

namespace sonmere {

// Who knows the apps: what plays, what the user has set for it, and which apps are taken. What an engine that
// renders apps needs of the one that finds them. Main thread.
class AppSource {
 public:
  virtual ~AppSource() = default;

  virtual const Observable<std::vector<TappedAppInfo>>& rows() = 0;
  virtual const RowSets& rowSets() const = 0;
  virtual const Observable<std::set<std::string>>& hiddenBundleIDs() = 0;
  virtual AppEffects& effects() = 0;
  // Volumes above 100 %.
  virtual const Observable<bool>& boostPermission() = 0;
  // Whether the app plays by a route of its own now.
  virtual bool isRouted(const std::string& bundleID) const = 0;
};

}  // namespace sonmere
