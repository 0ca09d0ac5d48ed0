#include "platform/desktop/DesktopPrivilegedCommand.h"

#include <fmt/format.h>
#include <signal.h>

#include <mutex>
#include <set>

#include "base/Error.h"
#include "platform/desktop/ChildProcess.h"
#include "platform/desktop/PlainText.h"

namespace sonmere {

namespace {

constexpr const char* kErrorDomain = "PrivilegedCommand";
constexpr std::int64_t kCancelled = -128;
// pkexec's own statuses: the question was dismissed; the user may not, or there is nobody to ask.
constexpr int kDismissed = 126;
constexpr int kNotAuthorised = 127;

Outcome<void> failure(std::int64_t code, const std::string& detail) {
  return std::unexpected(Error{kErrorDomain, code, "Privileged operation failed: " + detail});
}

Outcome<void> toOutcome(const ChildOutcome& child, const std::string& pkexec) {
  if (child.error == ENOENT)
    return failure(child.error, fmt::format("{} was not found; install polkit (package pkexec)", pkexec));
  if (child.error != 0) return failure(child.error, posixError(child.error, pkexec).description);
  if (child.exitStatus == 0) return {};
  if (child.exitStatus == kDismissed)
    return std::unexpected(Error{kErrorDomain, kCancelled, "Operation was cancelled by the user."});
  std::string detail = plainText(child.errorText);
  if (detail.empty())
    detail = child.exitStatus == kNotAuthorised
                 ? "not authorised"
                 : fmt::format("the command ended with status {}", child.exitStatus);
  return failure(child.exitStatus, detail);
}

}  // namespace

// pkexec processes under way.
struct DesktopPrivilegedCommand::Questions {
  std::mutex mutex;
  std::set<pid_t> asked;
  bool isOver = false;

  void add(pid_t pid) {
    const std::lock_guard lock(mutex);
    if (isOver)
      ::kill(pid, SIGTERM);
    else
      asked.insert(pid);
  }
};

DesktopPrivilegedCommand::DesktopPrivilegedCommand(Runtime& runtime, std::string pkexec)
    : runtime_(runtime), pkexec_(std::move(pkexec)), questions_(std::make_shared<Questions>()) {}

DesktopPrivilegedCommand::~DesktopPrivilegedCommand() {
  const std::lock_guard lock(questions_->mutex);
  questions_->isOver = true;
  for (const pid_t pid : questions_->asked) ::kill(pid, SIGTERM);
}

void DesktopPrivilegedCommand::run(const std::string& command,
                                   std::function<void(Outcome<void>)> completion) {
  runtime_.globalQueue().post([&runtime = runtime_, pkexec = pkexec_, questions = questions_, command,
                               completion = std::move(completion)] {
    pid_t asked = 0;
    const ChildOutcome child = runToEnd({pkexec, "/bin/sh", "-c", command}, [&](pid_t pid) {
      asked = pid;
      questions->add(pid);
    });
    {
      const std::lock_guard lock(questions->mutex);
      questions->asked.erase(asked);
    }
    runtime.mainQueue().post([outcome = toOutcome(child, pkexec), completion] { completion(outcome); });
  });
}

}  // namespace sonmere
