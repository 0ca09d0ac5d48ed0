#include "control/ControlParams.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace sonmere {

namespace {
constexpr double kLargestWhole = 1e9;
}

const ControlJSON* ControlParams::take(const char* name, const char* kind, bool isRequired) {
  asked_.push_back({name, kind, isRequired});
  const auto found = params_.find(name);
  return found == params_.end() ? nullptr : &*found;
}

void ControlParams::fail() {
  if (error_) return;
  const ControlParameter& last = asked_.back();
  error_ = controlError(ControlFault::badValue, fmt::format("\"{}\" must be {}", last.name, last.kind));
}

std::string ControlParams::text(const char* name) {
  const ControlJSON* value = take(name, "a string");
  if (value && value->is_string()) return *value;
  fail();
  return {};
}

std::optional<std::string> ControlParams::textIf(const char* name) {
  const ControlJSON* value = take(name, "a string", false);
  if (!value) return std::nullopt;
  if (value->is_string()) return std::string(*value);
  fail();
  return {};
}

double ControlParams::number(const char* name) {
  const ControlJSON* value = take(name, "a number");
  if (value && value->is_number()) return *value;
  fail();
  return 0;
}

std::optional<double> ControlParams::numberIf(const char* name) {
  const ControlJSON* value = take(name, "a number", false);
  if (!value) return std::nullopt;
  if (value->is_number()) return *value;
  fail();
  return 0;
}

int ControlParams::wholeOf(const ControlJSON* value) {
  const double number = value && value->is_number() ? double(*value) : NAN;
  if (number == std::floor(number) && std::abs(number) <= kLargestWhole) return int(number);
  fail();
  return 0;
}

int ControlParams::whole(const char* name) { return wholeOf(take(name, "a whole number")); }

std::optional<int> ControlParams::wholeIf(const char* name) {
  const ControlJSON* value = take(name, "a whole number", false);
  return value ? std::optional(wholeOf(value)) : std::nullopt;
}

std::optional<std::vector<int>> ControlParams::wholesIf(const char* name) {
  const ControlJSON* value = take(name, "a list of whole numbers", false);
  if (!value) return std::nullopt;
  std::vector<int> all;
  for (const ControlJSON& each : value->is_array() ? *value : ControlJSON::array())
    all.push_back(wholeOf(&each));
  if (all.empty()) fail();
  return all;
}

bool ControlParams::flag(const char* name) {
  const ControlJSON* value = take(name, "true or false");
  if (value && value->is_boolean()) return *value;
  fail();
  return false;
}

bool ControlParams::flagOr(const char* name, bool absent) {
  const ControlJSON* value = take(name, "true or false", false);
  if (!value) return absent;
  if (value->is_boolean()) return *value;
  fail();
  return absent;
}

std::optional<bool> ControlParams::flagIf(const char* name) {
  const ControlJSON* value = take(name, "true or false", false);
  if (!value) return std::nullopt;
  if (value->is_boolean()) return bool(*value);
  fail();
  return {};
}

std::optional<double> ControlParams::numberOrNull(const char* name) {
  const ControlJSON* value = take(name, "a number or null");
  if (value && value->is_null()) return std::nullopt;
  if (value && value->is_number()) return *value;
  fail();
  return std::nullopt;
}

std::optional<int> ControlParams::wholeOrNull(const char* name) {
  const ControlJSON* value = take(name, "a whole number or null");
  if (value && value->is_null()) return std::nullopt;
  return wholeOf(value);
}

std::vector<std::string> ControlParams::texts(const char* name) {
  const ControlJSON* value = take(name, "a list of strings");
  const bool isList = value && value->is_array() &&
                      std::ranges::all_of(*value, [](const ControlJSON& each) { return each.is_string(); });
  if (isList) return *value;
  fail();
  return {};
}

ControlJSON ControlParams::any(const char* name) {
  const ControlJSON* value = take(name, "a value");
  if (value) return *value;
  fail();
  return nullptr;
}

const ControlJSON& ControlParams::object(const char* name) {
  static const ControlJSON empty = ControlJSON::object();
  const ControlJSON* value = take(name, "an object or null");
  if (value && value->is_object()) return *value;
  if (!value || !value->is_null()) fail();
  return empty;
}

Outcome<void> ControlParams::finish() const {
  if (error_) return std::unexpected(*error_);
  for (const auto& item : params_.items())
    if (std::ranges::find(asked_, item.key(), &ControlParameter::name) == asked_.end())
      return std::unexpected(
          controlError(ControlFault::badValue, fmt::format("there is no parameter \"{}\"", item.key())));
  return {};
}

}  // namespace sonmere
