#pragma once

#include <optional>
#include <string>
#include <vector>

#include "control/ControlError.h"
#include "control/ControlMessage.h"

namespace sonmere {

// A parameter that a method was seen to ask for.
struct ControlParameter {
  std::string name;
  const char* kind;  // as the error says it: "a number"
  bool isRequired;
};

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
  // Nothing when it is not there.
  std::optional<double> numberIf(const char* name);
  std::optional<int> wholeIf(const char* name);
  std::optional<bool> flagIf(const char* name);
  std::optional<std::string> textIf(const char* name);
  std::optional<std::vector<int>> wholesIf(const char* name);
  // Null stands for nothing.
  std::optional<double> numberOrNull(const char* name);
  std::optional<int> wholeOrNull(const char* name);
  std::vector<std::string> texts(const char* name);
  // Of any kind; null when it is missing, which is an error.
  ControlJSON any(const char* name);
  // A member object; an empty one where it is null.
  const ControlJSON& object(const char* name);
  bool has(const char* name) const { return params_.contains(name); }
  // The parameter asked for last can be left out, because another may stand for it.
  void hasAlternative() { asked_.back().isRequired = false; }

  // What was asked for so far. Of an empty object, that is all that a method takes.
  const std::vector<ControlParameter>& asked() const { return asked_; }

  // The first error; also when a parameter was never asked for.
  Outcome<void> finish() const;

 private:
  const ControlJSON* take(const char* name, const char* kind, bool isRequired = true);
  int wholeOf(const ControlJSON* value);
  // The parameter asked for last is not of its kind.
  void fail();

  const ControlJSON& params_;
  std::vector<ControlParameter> asked_;
  std::optional<Error> error_;
};

}  // namespace sonmere
