#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "audio/device/AudioTypes.h"
#include "base/Observable.h"

namespace sonmere {

// How an application shows itself: with windows, without a Dock entry, or not at all.
enum class ActivationPolicy { regular, accessory, prohibited };

struct RunningApplication {
  ProcessID pid = 0;
  std::string bundleID;
  std::string localizedName;
  // Name or path of an icon; empty when the application has none.
  std::string icon;
  ActivationPolicy policy = ActivationPolicy::regular;
  bool operator==(const RunningApplication&) const = default;
};

// The desktop's applications. Main thread.
class RunningApplications {
 public:
  virtual ~RunningApplications() = default;

  virtual std::optional<RunningApplication> applicationWithPID(ProcessID pid) = 0;
  virtual std::vector<RunningApplication> applicationsWithBundleID(std::string_view bundleID) = 0;
  // The process that answers for another (a browser for its content processes). Nothing when the platform
  // cannot tell.
  virtual std::optional<ProcessID> responsiblePID(ProcessID pid) = 0;
  // Icon and name of an installed application that need not run.
  virtual std::optional<std::string> iconForBundleID(std::string_view bundleID) = 0;
  // This program.
  virtual ProcessID ownPID() const = 0;
  virtual std::string ownBundleID() const = 0;

  virtual OSStatus launch(std::string_view bundleID) = 0;
  virtual OSStatus terminate(ProcessID pid) = 0;

  [[nodiscard]] virtual Subscription observeLaunches(
      std::function<void(const RunningApplication&)> observer) = 0;
  [[nodiscard]] virtual Subscription observeTerminations(
      std::function<void(const RunningApplication&)> observer) = 0;
};

}  // namespace sonmere
