#include "cli/CommandHints.h"

#include "control/ControlClient.h"
#include "control/KeptForLater.h"

namespace sonmere {

std::string withCommand(const std::string& note) {
  if (note == KeptForLater::kMixerIsOff) return note + "; turn it on with: sonmere mixer on";
  if (note == KeptForLater::kRoutingIsOff) return note + "; turn it on with: sonmere routing on";
  return note;
}

std::string withCommand(const Error& error, const ControlJSON& params) {
  const bool isAnswer = error.domain == ControlClient::kAnswerDomain;
  if (isAnswer && error.code == kAppNotFound && params.is_object() && params.contains("app"))
    return error.description + "; sonmere apps lists those there are";
  const bool isAbsent =
      error.domain == ControlClient::kErrorDomain && error.code == ControlClient::kNotRunning;
  return isAbsent ? error.description + "; start it with: sonmere run" : error.description;
}

}  // namespace sonmere
