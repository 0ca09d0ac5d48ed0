#include "cli/RemoteCall.h"

#include "app/PlatformFolders.h"
#include "cli/CommandHints.h"
#include "cli/ExitStatus.h"
#include "cli/Tell.h"
#include "control/VolumeText.h"

namespace sonmere {

namespace {

bool isBadInput(const Error& error) {
  if (error.domain == kArgumentErrorDomain) return true;
  if (error.domain != ControlClient::kAnswerDomain) return false;
  return error.code == kInvalidParams || error.code == kAppNotFound || error.code == kAppAmbiguous ||
         error.code == kMethodNotFound;
}

// What programs tell by, where the status alone says too little.
const char* codeOf(const Error& error) {
  const bool isAnswer = error.domain == ControlClient::kAnswerDomain;
  if (isAnswer && error.code == kAppNotFound) return "notFound";
  if (isAnswer && error.code == kAppAmbiguous) return "ambiguous";
  const bool isAbsent =
      error.domain == ControlClient::kErrorDomain && error.code == ControlClient::kNotRunning;
  return isAbsent ? "notRunning" : "";
}

}  // namespace

int RemoteCall::tell(int status, const std::string& text) const {
  return sonmere::tell(command_, status, text);
}

int RemoteCall::fail(const Error& error, const ControlJSON& params) const {
  return sonmere::tell(command_, isBadInput(error) ? kExitBadInput : kExitFailure, withCommand(error, params),
                       codeOf(error));
}

int RemoteCall::with(const std::function<int(ControlClient&)>& talk) const {
  auto client = ControlClient::connect(userControlFolder());
  return client ? talk(*client) : fail(client.error());
}

int RemoteCall::ask(const std::string& method, const ControlJSON& params, const Show& show) const {
  return with([&](ControlClient& client) {
    const auto result = client.call(method, params);
    if (!result) return fail(result.error(), params);
    showNotes(*result);
    show(*result);
    return int(kExitSuccess);
  });
}

void RemoteCall::showNotes(const ControlJSON& result) const {
  if (!result.is_object()) return;
  for (const auto& note : result.value("notes", ControlJSON::array()))
    if (note.is_string()) tell(kExitSuccess, withCommand(std::string(note)));
}

}  // namespace sonmere
