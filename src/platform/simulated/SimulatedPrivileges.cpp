#include "platform/simulated/SimulatedPrivileges.h"

namespace sonmere {

namespace {
constexpr const char* kErrorDomain = "PrivilegedCommand";
constexpr std::int64_t kCancelled = -128;
constexpr std::int64_t kFailed = 1;
}  // namespace

Outcome<void> SimulatedPrivileges::answer(const std::string& command) const {
  if (cancelled_)
    return std::unexpected(Error{kErrorDomain, kCancelled, "Operation was cancelled by the user."});
  if (!effect_) return {};
  const Outcome<void> outcome = effect_(command);
  if (outcome) return {};
  return std::unexpected(
      Error{kErrorDomain, kFailed, "Privileged operation failed: " + outcome.error().description});
}

void SimulatedPrivileges::run(const std::string& command, std::function<void(Outcome<void>)> completion) {
  commands_.push_back(command);
  runtime_.mainQueue().post(
      [outcome = answer(command), completion = std::move(completion)] { completion(outcome); });
}

}  // namespace sonmere
