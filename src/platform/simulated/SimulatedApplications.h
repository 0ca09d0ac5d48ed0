#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "audio/device/RunningApplications.h"
#include "platform/ObserverList.h"
#include "platform/simulated/SimulatedWorld.h"

namespace sonmere {

// The desktop's view of the running programs. Main thread.
class SimulatedApplications final : public RunningApplications {
 public:
  explicit SimulatedApplications(std::shared_ptr<SimulatedWorld> world);

  std::optional<RunningApplication> applicationWithPID(ProcessID pid) override;
  std::vector<RunningApplication> applicationsWithBundleID(std::string_view bundleID) override;
  std::optional<ProcessID> responsiblePID(ProcessID pid) override;
  std::optional<std::string> iconForBundleID(std::string_view bundleID) override;
  ProcessID ownPID() const override { return world_->options().ownPID; }
  std::string ownBundleID() const override { return world_->options().ownBundleID; }
  OSStatus launch(std::string_view bundleID) override;
  OSStatus terminate(ProcessID pid) override;
  [[nodiscard]] Subscription observeLaunches(
      std::function<void(const RunningApplication&)> observer) override;
  [[nodiscard]] Subscription observeTerminations(
      std::function<void(const RunningApplication&)> observer) override;

  // The host's side.
  ProcessID start(SimulatedAppDescription description);
  void quit(ProcessID pid);
  // An application that is there to be launched.
  void install(const SimulatedAppDescription& description) { installed_[description.bundleID] = description; }
  // Without, nobody's responsible process is known.
  void setResponsibilityKnown(bool isKnown) { responsibilityIsKnown_ = isKnown; }

 private:
  std::optional<RunningApplication> describe(const SimulatedProcess& process) const;

  std::shared_ptr<SimulatedWorld> world_;
  std::map<std::string, SimulatedAppDescription, std::less<>> installed_;
  ObserverList<RunningApplication> launches_;
  ObserverList<RunningApplication> terminations_;
  ProcessID nextPID_ = 501;
  bool responsibilityIsKnown_ = true;
};

}  // namespace sonmere
