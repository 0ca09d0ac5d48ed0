#include "cli/MonitorPrinter.h"

#include <fmt/format.h>

#include "cli/JSONMembers.h"
#include "cli/Text.h"
#include "cli/TextTable.h"

namespace sonmere {

namespace {

std::string stateText(const ControlJSON& monitor) {
  if (!flag(monitor, "enabled")) return "off";
  if (flag(monitor, "running")) return fmt::format("on, at {:g} Hz", monitor.value("sampleRate", 0.0));
  return "on, with nothing to play";
}

// The one that plays, where the default is followed.
std::string deviceText(const ControlJSON& monitor) {
  std::string used;
  for (const ControlJSON& device : monitor.value("devices", ControlJSON::array()))
    if (flag(device, "used")) used = textOf(device, "name");
  if (!flag(monitor, "following")) return textOf(monitor, "device");
  return used.empty() ? "the system's default output" : "the system's default output, " + used;
}

std::string heardText(const ControlJSON& source) {
  return flag(source, "heard") ? "heard" : "chosen, not heard now";
}

}  // namespace

std::string monitorText(const ControlJSON& monitor) {
  std::string out = fmt::format("Monitor  {}\nDevice   {}\n", stateText(monitor), deviceText(monitor));
  if (const std::string error = textOf(monitor, "error"); !error.empty())
    out += fmt::format("Problem  {}\n", error);
  TextTable table({{"heard"}, {"name"}, {"volume", TextTable::Align::right}, {""}});
  int rows = 0;
  const auto add = [&](const std::string& id, const std::string& name, const ControlJSON& source,
                       const std::string& state) {
    if (!flag(source, "enabled")) return;
    table.add({id, name, fmt::format("{:.0f} %", source.value("volume", 1.0) * 100), state});
    ++rows;
  };
  for (const ControlJSON& app : monitor.value("apps", ControlJSON::array()))
    add(textOf(app, "id"), textOf(app, "name"), app,
        heardText(app) + (flag(app, "linked") ? ", volume linked" : ""));
  for (const ControlJSON& bus : monitor.value("buses", ControlJSON::array()))
    add(busWord(bus.value("bus", 0)), textOf(bus, "name"), bus, "");
  const ControlJSON microphone = monitor.value("microphone", ControlJSON::object());
  add("mic", "your microphone", microphone, heardText(microphone));
  return out + (rows > 0 ? "\n" + table.text() : "\nNothing is chosen to be heard.\n");
}

}  // namespace sonmere
