#include "control/Preset.h"

#include "base/PrintableText.h"
#include "base/SettingsLevels.h"
#include "control/ControlCodec.h"
#include "control/EffectLimits.h"
#include "control/RuleCodec.h"
#include "dsp/ParametricText.h"

namespace sonmere {

namespace {

constexpr const char* kFormat = "sonmere-preset";
constexpr int kVersion = 1;
constexpr std::size_t kMostBytes = 1u << 20, kLongestName = 200;

std::unexpected<Error> refuse(std::string text) {
  return std::unexpected(Error{"Preset", 1, std::move(text)});
}

Outcome<ReadPreset> readOwn(const ControlJSON& file, const std::string& name) {
  if (file.value("version", ControlJSON()) != kVersion) return refuse("it is of a later version of Sonmere");
  ReadPreset read{{name, {}}, {}};
  if (const auto given = file.value("name", ControlJSON()); given.is_string() &&
                                                            !given.get<std::string>().empty() &&
                                                            given.get<std::string>().size() <= kLongestName)
    read.preset.name = printable(given.get<std::string>());
  if (file.value("kind", ControlJSON()) == "equaliser" && file.contains("equaliser")) {
    const auto equaliser = decodeEqualiser(file["equaliser"]);
    if (!equaliser) return refuse(equaliser.error().description);
    read.preset.value = heldToRange(*equaliser, read.notes);
  } else if (file.value("kind", ControlJSON()) == "routing" && file.contains("apps")) {
    auto routing = decodeRouting(file["apps"]);
    if (!routing) return refuse(routing.error().description);
    read.preset.value = std::move(*routing);
  } else {
    return refuse("it is of a kind that this version does not know");
  }
  return read;
}

}  // namespace

std::string encodePreset(const Preset& preset) {
  ControlJSON file{
      {"format", kFormat}, {"version", kVersion}, {"kind", preset.kind()}, {"name", preset.name}};
  if (const auto* equaliser = preset.equaliser())
    file["equaliser"] = encodeControl(*equaliser);
  else
    file["apps"] = encodeRouting(*preset.routing());
  return file.dump(2, ' ', false, ControlJSON::error_handler_t::replace) + "\n";
}

Outcome<ReadPreset> readPreset(std::string_view text, const std::string& name) {
  if (text.size() > kMostBytes) return refuse("it is larger than a preset can be");
  if (isNestedTooDeeply(text)) return refuse("it is nested too deeply");
  const ControlJSON file = ControlJSON::parse(text, nullptr, false);
  if (file.is_object() && file.value("format", ControlJSON()) == kFormat) return readOwn(file, name);
  if (file.is_object()) return refuse("it is a file of something else");
  const auto fit = fitParametric(text);
  if (!fit) return refuse("it is no preset, and has no line as \"Filter 1: ON PK Fc 100 Hz Gain -2 dB Q 1\"");
  return ReadPreset{{name, fit->settings}, fit->notes};
}

}  // namespace sonmere
