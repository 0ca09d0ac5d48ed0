#pragma once

#include <optional>
#include <set>
#include <string>

#include "control/ControlError.h"
#include "control/ControlMessage.h"

namespace sonmere {

// The parameters of one request. What is missing, of the wrong kind or unknown becomes the first error, kept
// until finish(). One thread at a time.
class ControlParams {
 public:
  explicit ControlParams(const ControlJSON& params) : params_(params) {}

  std::string text(const char* name);
  double number(const char* name);
  int whole(const char* name);
  bool flag(const char* name);
  bool flagOr(const char* name, bool absent);
  // Null stands for nothing.
  std::optional<double> numberOrNull(const char* name);
  std::optional<int> wholeOrNull(const char* name);
  // A member object; an empty one where it is null.
  const ControlJSON& object(const char* name);
  bool has(const char* name) const { return params_.contains(name); }

  // The first error; also when a parameter was never asked for.
  Outcome<void> finish() const;

 private:
  const ControlJSON* take(const char* name);
  void fail(const char* name, const char* expected);

  const ControlJSON& params_;
  std::set<std::string> taken_;
  std::optional<Error> error_;
};

}  // namespace sonmere
