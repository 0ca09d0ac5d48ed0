#pragma once

#include <string>
#include <vector>

#include "app/ToneFerryApp.h"
#include "control/DAWState.h"

namespace sonmere {

// Devices that are made of others: all Tracks as one, and inputs as one. Wishes are kept where a device can't
// be made. Main thread.
class DAWControl {
 public:
  explicit DAWControl(ToneFerryApp& app) : app_(app) {}

  DAWState state() const;

  Outcome<DAWChange> setEnabled(bool enabled);
  // The device of the Tracks made anew.
  Outcome<DAWChange> reset();
  // In place of what was combined before. Devices are named by identifier or name, or any part that fits no
  // other; nothing for the usual name.
  Outcome<DAWChange> combine(const std::vector<std::string>& devices, const std::optional<std::string>& name);
  Outcome<DAWChange> separate();

 private:
  DAWAggregateEngine& daw() const { return *app_.dawAggregateEngine(); }
  CombinedInputEngine& combined() const { return *app_.combinedInputEngine(); }
  DAWState::Combined describeCombined() const;
  Outcome<std::vector<std::string>> findInputs(const std::vector<std::string>& devices) const;
  Outcome<DAWChange> change(const std::optional<std::string>& error) const;

  ToneFerryApp& app_;
};

}  // namespace sonmere
