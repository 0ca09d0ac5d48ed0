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

}  // namespace

std::string routesText(const ControlJSON& routes) {
  TextTable table({{"route"}, {"health"}, {"detail"}});
  std::string advice;
  for (const ControlJSON& each : routes.value("routes", ControlJSON::array())) {
    table.add({textOf(each, "name"), textOf(each, "verdict"), textOf(each, "detail")});
    if (const std::string text = textOf(each, "advice"); !text.empty())
      advice += fmt::format("{}: {}\n", textOf(each, "name"), text);
  }
  std::string out = table.text();
  if (!advice.empty()) out += "\n" + advice;
  if (const auto reset = routes.find("lastReset"); reset != routes.end() && reset->is_object())
    out += "\n" + resetText(*reset);
  return out;
}

}  // namespace sonmere
