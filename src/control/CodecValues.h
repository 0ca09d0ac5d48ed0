#pragma once

#include <charconv>
#include <optional>

#include "control/ControlMessage.h"

namespace sonmere {

// Values as the façade's answers write them.

// The double of the fewest digits that mean the same float.
inline double shortest(float value) {
  char text[32];
  double number = value;
  const auto end = std::to_chars(text, text + sizeof text, value).ptr;
  std::from_chars(text, end, number);
  return number;
}

template <class T>
ControlJSON orNull(const std::optional<T>& value) {
  return value ? ControlJSON(*value) : ControlJSON(nullptr);
}

}  // namespace sonmere
