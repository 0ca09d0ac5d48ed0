#include "cli/RoutesPrinter.h"

#include <fmt/format.h>

#include "cli/JSONMembers.h"
#include "cli/Text.h"
#include "cli/TextTable.h"

namespace sonmere {

namespace {

std::string resetText(const ControlJSON& reset) {
  std::string done;
  const auto add = [&](const std::string& what) { done += (done.empty() ? "" : ", ") + what; };
  for (const ControlJSON& member : reset.value("droppedStaleMembers", ControlJSON::array()))
    add("dropped " + printable(member.get<std::string>()));
  if (const int swept = reset.value("sweptAggregates", 0)) add(fmt::format("removed {} strays", swept));
  if (flag(reset, "rebuiltSystemAudio")) add("rebuilt System Audio");
  if (flag(reset, "rebuiltDAWDevice")) add("rebuilt the DAW Device");
  return fmt::format("Reset at {}{}{}\n", textOf(reset, "finishedAt"), done.empty() ? "" : ": ", done);
}

// Which command does what the advice says; empty: none.
std::string commandFor(const ControlJSON& route) {
  const std::string id = textOf(route, "id"), verdict = textOf(route, "verdict");
  if (id == "driver")
    return verdict == "inactive" ? "sonmere driver install"
           : verdict == "broken" ? "sonmere driver repair"
                                 : "";
  if (verdict == "broken") return "sonmere routes reset";
  return id == "input" && verdict == "degraded" ? "sonmere mic select" : "";
}

std::string adviceText(const ControlJSON& route) {
  const std::string advice = textOf(route, "advice"), command = commandFor(route);
  if (advice.empty()) return "";
  return fmt::format("{}: {}{}\n", textOf(route, "name"), advice,
                     command.empty() ? "" : " (" + command + ")");
}

}  // namespace

std::string routesText(const ControlJSON& routes) {
  TextTable table({{"route"}, {"health"}, {"detail"}});
  std::string advice;
  for (const ControlJSON& each : routes.value("routes", ControlJSON::array())) {
    table.add({textOf(each, "name"), textOf(each, "verdict"), textOf(each, "detail")});
    advice += adviceText(each);
  }
  std::string out = table.text();
  if (!advice.empty()) out += "\n" + advice;
  if (const auto reset = routes.find("lastReset"); reset != routes.end() && reset->is_object())
    out += "\n" + resetText(*reset);
  return out;
}

}  // namespace sonmere
