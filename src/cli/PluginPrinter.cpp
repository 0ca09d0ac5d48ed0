#include "cli/PluginPrinter.h"

#include <fmt/format.h>

#include "cli/JSONMembers.h"
#include "cli/Text.h"
#include "cli/TextTable.h"

namespace sonmere {

namespace {

std::string shortNumber(double value) { return fmt::format("{:g}", shortest(float(value))); }

std::string stateOf(const ControlJSON& plugin) {
  if (const std::string problem = textOf(plugin, "problem"); !problem.empty()) return problem;
  if (plugin.value("bypassed", false)) return "bypassed";
  return plugin.value("autoBypassed", false) ? "bypassed, for it fails" : "on";
}

std::string valuesOf(const ControlJSON& plugin) {
  std::string all;
  const ControlJSON values = plugin.value("values", ControlJSON::object());
  for (const auto& [symbol, value] : values.items())
    if (value.is_number())
      all += (all.empty() ? "" : " ") + printable(symbol) + "=" + shortNumber(double(value));
  return all;
}

}  // namespace

std::string controlRange(const ControlJSON& control) {
  std::string all = fmt::format("{} to {}", shortNumber(number(control, "minimum")),
                                shortNumber(number(control, "maximum")));
  if (const std::string unit = textOf(control, "unit"); !unit.empty()) all += " " + unit;
  for (const ControlJSON& point : control.value("points", ControlJSON::array()))
    all += fmt::format(", {} {}", shortNumber(number(point, "value")), textOf(point, "label"));
  return all;
}

std::string offersText(const ControlJSON& offers) {
  TextTable table({{"Plug-in"}, {"Name"}, {"By"}, {"Kind"}, {"Remark"}});
  for (const ControlJSON& offer : offers)
    table.add({textOf(offer, "plugin"), textOf(offer, "name"), textOf(offer, "manufacturer"),
               textOf(offer, "category"), textOf(offer, "obstacle")});
  return offers.empty() ? "No plug-ins.\n" : table.text();
}

std::string pluginInfoText(const ControlJSON& info) {
  std::string out = fmt::format(
      "{}\n  {}{}{}\n  {}\n", textOf(info, "name"), textOf(info, "plugin"),
      textOf(info, "manufacturer").empty() ? "" : ", by " + textOf(info, "manufacturer"),
      textOf(info, "category").empty() ? "" : ", " + textOf(info, "category"), textOf(info, "file"));
  if (const std::string obstacle = textOf(info, "obstacle"); !obstacle.empty())
    out += "  can't be used: " + obstacle + "\n";
  TextTable controls({{"Control"}, {"Name"}, {"Default", TextTable::Align::right}, {"Range"}});
  for (const ControlJSON& control : info.value("controls", ControlJSON::array()))
    controls.add({textOf(control, "symbol"), textOf(control, "name"), shortNumber(number(control, "initial")),
                  controlRange(control)});
  if (!info.value("controls", ControlJSON::array()).empty()) out += controls.text();
  for (const ControlJSON& preset : info.value("presets", ControlJSON::array()))
    out += "Preset: " + textOf(preset, "name") + "\n";
  return out;
}

std::string chainText(const ControlJSON& chain) {
  const ControlJSON plugins = chain.value("plugins", ControlJSON::array());
  std::string out =
      fmt::format("{}: {}{}, {:.1f} ms\n", textOf(chain, "scope"), textOf(chain, "state"),
                  chain.value("trusted", false) ? ", inside the program" : "", number(chain, "latencyMs"));
  if (plugins.empty()) return textOf(chain, "scope") + ": no plug-ins\n";
  TextTable table({{"#", TextTable::Align::right}, {"Name"}, {"State"}, {"Values"}});
  for (const ControlJSON& plugin : plugins)
    table.add({fmt::format("{:.0f}", number(plugin, "position")),
               textOf(plugin, "name").empty() ? textOf(plugin, "plugin") : textOf(plugin, "name"),
               stateOf(plugin), valuesOf(plugin)});
  return out + table.text();
}

std::string chainsText(const ControlJSON& overview) {
  std::string out;
  for (const ControlJSON& chain : overview.value("chains", ControlJSON::array())) out += chainText(chain);
  if (out.empty()) out = "No plug-ins.\n";
  const std::string error = textOf(overview, "error");
  return error.empty() ? out : out + error + "\n";
}

}  // namespace sonmere
