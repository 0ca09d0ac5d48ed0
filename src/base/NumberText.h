#pragma once

#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>

namespace sonmere {

// A text that is a finite number and nothing else.
inline std::optional<double> readNumber(std::string_view text) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size() || !std::isfinite(value)) return std::nullopt;
  return value;
}

}  // namespace sonmere
