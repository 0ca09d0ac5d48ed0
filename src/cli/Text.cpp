#include "cli/Text.h"

#include <charconv>

namespace sonmere {

double shortest(float value) {
  char text[32];
  double number = value;
  const auto end = std::to_chars(text, text + sizeof text, value).ptr;
  std::from_chars(text, end, number);
  return number;
}

}  // namespace sonmere
