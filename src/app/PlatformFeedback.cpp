#include "app/PlatformFeedback.h"

#include "platform/desktop/ChildProcess.h"

namespace sonmere {

Outcome<void> composeFeedback(const std::string& file, const std::string& address) {
  const std::string program = findInPath("xdg-email");
  if (program.empty())
    return std::unexpected(
        Error{"Feedback", 1, "there is no xdg-email, which would begin a mail (Debian: xdg-utils)"});
  std::vector<std::string> words{program, "--utf8", "--subject", "Sonmere", "--attach", file};
  if (!address.empty()) words.push_back(address);
  const ChildOutcome outcome = runToEnd(words, [](pid_t) {});
  if (outcome.error == 0 && outcome.exitStatus == 0) return {};
  return std::unexpected(Error{"Feedback", 2, "no mail program began a mail"});
}

}  // namespace sonmere
