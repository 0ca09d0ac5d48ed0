#pragma once

#include <string>
#include <vector>

#include "audio/device/PrivilegedCommand.h"
#include "base/Runtime.h"

namespace sonmere {

// Administrator rights as the user grants them; what a command does is up to the host. Main thread.
class SimulatedPrivileges final : public PrivilegedCommand {
 public:
  // Does the command's work on the simulated machine; an error names the detail of the failure.
  using Effect = std::function<Outcome<void>(const std::string& command)>;

  explicit SimulatedPrivileges(Runtime& runtime) : runtime_(runtime) {}
  void run(const std::string& command, std::function<void(Outcome<void>)> completion) override;

  // The host's side.
  void setEffect(Effect effect) { effect_ = std::move(effect); }
  // The user cancels the prompt from now on.
  void setCancelled(bool cancelled) { cancelled_ = cancelled; }
  const std::vector<std::string>& commands() const { return commands_; }

 private:
  Outcome<void> answer(const std::string& command) const;

  Runtime& runtime_;
  Effect effect_;
  bool cancelled_ = false;
  std::vector<std::string> commands_;
};

}  // namespace sonmere
