#pragma once

#include <memory>

#include "audio/device/PrivilegedCommand.h"
#include "base/Runtime.h"

namespace sonmere {

// Runs commands as root through polkit's pkexec, which asks the user. Main thread.
class DesktopPrivilegedCommand final : public PrivilegedCommand {
 public:
  explicit DesktopPrivilegedCommand(Runtime& runtime, std::string pkexec = "pkexec");
  // Takes back questions that the user has not answered.
  ~DesktopPrivilegedCommand() override;

  void run(const std::string& command, std::function<void(Outcome<void>)> completion) override;

 private:
  struct Questions;
  Runtime& runtime_;
  const std::string pkexec_;
  std::shared_ptr<Questions> questions_;
};

}  // namespace sonmere
