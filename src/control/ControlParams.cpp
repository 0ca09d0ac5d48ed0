#include "control/ControlParams.h"

#include <fmt/format.h>

#include <cmath>

namespace sonmere {

namespace {
constexpr double kLargestWhole = 1e9;
}

const ControlJSON* ControlParams::take(const char* name) {
  taken_.insert(name);
  const auto found = params_.find(name);
  return found == params_.end() ? nullptr : &*found;
}

void ControlParams::fail(const char* name, const char* expected) {
  if (error_) return;
  error_ = controlError(ControlFault::badValue, fmt::format("\"{}\" must be {}", name, expected));
}

std::string ControlParams::text(const char* name) {
  const ControlJSON* value = take(name);
  if (value && value->is_string()) return *value;
  fail(name, "a string");
  return {};
}

double ControlParams::number(const char* name) {
  const ControlJSON* value = take(name);
  if (value && value->is_number()) return *value;
  fail(name, "a number");
  return 0;
}

int ControlParams::whole(const char* name) {
  const ControlJSON* value = take(name);
  const double number = value && value->is_number() ? double(*value) : NAN;
  if (number == std::floor(number) && std::abs(number) <= kLargestWhole) return int(number);
  fail(name, "a whole number");
  return 0;
}

bool ControlParams::flag(const char* name) {
  const ControlJSON* value = take(name);
  if (value && value->is_boolean()) return *value;
  fail(name, "true or false");
  return false;
}

bool ControlParams::flagOr(const char* name, bool absent) { return has(name) ? flag(name) : absent; }

std::optional<double> ControlParams::numberOrNull(const char* name) {
  const ControlJSON* value = take(name);
  if (value && value->is_null()) return std::nullopt;
  return number(name);
}

std::optional<int> ControlParams::wholeOrNull(const char* name) {
  const ControlJSON* value = take(name);
  if (value && value->is_null()) return std::nullopt;
  return whole(name);
}

const ControlJSON& ControlParams::object(const char* name) {
  static const ControlJSON empty = ControlJSON::object();
  const ControlJSON* value = take(name);
  if (value && value->is_object()) return *value;
  if (!value || !value->is_null()) fail(name, "an object or null");
  return empty;
}

Outcome<void> ControlParams::finish() const {
  if (error_) return std::unexpected(*error_);
  for (const auto& item : params_.items())
    if (!taken_.contains(item.key()))
      return std::unexpected(
          controlError(ControlFault::badValue, fmt::format("there is no parameter \"{}\"", item.key())));
  return {};
}

}  // namespace sonmere
