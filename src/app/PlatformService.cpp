#include "app/PlatformService.h"

#include <cstring>

#include "platform/desktop/ChildProcess.h"

namespace sonmere {

namespace {

ChildOutcome systemctl(std::vector<std::string> words) {
  std::vector<std::string> command{"systemctl", "--user", "--quiet"};
  command.insert(command.end(), words.begin(), words.end());
  command.push_back(kServiceUnit);
  return runToEnd(command, [](pid_t) {});
}

bool isSo(const char* question) {
  const ChildOutcome answer = systemctl({question});
  return answer.error == 0 && answer.exitStatus == 0;
}

}  // namespace

ServiceState serviceState() { return {isSo("is-enabled"), isSo("is-active")}; }

Outcome<void> setServiceEnabled(bool isOn) {
  const ChildOutcome outcome = systemctl({isOn ? "enable" : "disable", "--now"});
  if (outcome.error == 0 && outcome.exitStatus == 0) return {};
  std::string reason = outcome.error ? std::strerror(outcome.error) : outcome.errorText;
  while (reason.ends_with('\n')) reason.pop_back();
  return std::unexpected(Error{"Service", 1,
                               "the service manager of your session (systemctl --user) could not be asked: " +
                                   reason + "; sonmere login-item on works without one"});
}

}  // namespace sonmere
