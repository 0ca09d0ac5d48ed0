#pragma once

#include <optional>

#include "audio/device/LoginItem.h"

namespace sonmere {

// Main thread.
class SimulatedLoginItem final : public LoginItem {
 public:
  bool isEnabled() override { return enabled_; }
  Outcome<void> registerItem() override { return change(true); }
  Outcome<void> unregisterItem() override { return change(false); }

  // The host's side: the user flips the switch, or the system refuses from now on.
  void set(bool enabled) { enabled_ = enabled; }
  void refuse(std::optional<Error> error) { refusal_ = std::move(error); }

 private:
  Outcome<void> change(bool enabled) {
    if (refusal_) return std::unexpected(*refusal_);
    enabled_ = enabled;
    return {};
  }

  bool enabled_ = false;
  std::optional<Error> refusal_;
};

}  // namespace sonmere
