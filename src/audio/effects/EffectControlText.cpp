#include "audio/effects/EffectControlText.h"

#include <fmt/format.h>
#include <strings.h>

#include <cmath>

#include "base/NumberText.h"

namespace sonmere {

namespace {

bool isSame(const std::string& a, const std::string& b) { return strcasecmp(a.c_str(), b.c_str()) == 0; }

std::unexpected<Error> refuse(std::string text) {
  return std::unexpected(Error{"Plugins", 4, std::move(text)});
}

std::string offered(const EffectDetails& details) {
  std::string all;
  for (const EffectControl& control : details.controls) all += (all.empty() ? "" : ", ") + control.symbol;
  return all.empty() ? "it has none" : "it has " + all;
}

}  // namespace

Outcome<EffectControl> findControl(const EffectDetails& details, const std::string& text) {
  for (const EffectControl& control : details.controls)
    if (control.symbol == text) return control;
  for (const EffectControl& control : details.controls)
    if (isSame(control.name, text)) return control;
  return refuse(fmt::format("\"{}\" has no control \"{}\"; {}", details.effect.name, text, offered(details)));
}

Outcome<float> readControlValue(const EffectControl& control, const std::string& text) {
  for (const EffectControl::Point& point : control.points)
    if (isSame(point.label, text)) return point.value;
  if (text == "on") return control.maximum;
  if (text == "off") return control.minimum;
  const auto number = readNumber(text);
  if (number && *number >= double(control.minimum) && *number <= double(control.maximum))
    return control.isInteger ? std::round(float(*number)) : float(*number);
  std::string names;
  for (const EffectControl::Point& point : control.points) names += ", " + point.label;
  return refuse(fmt::format("\"{}\" takes {:g} to {:g}{}{}, not \"{}\"", control.symbol, control.minimum,
                            control.maximum, control.unit.empty() ? "" : " " + control.unit, names, text));
}

}  // namespace sonmere
