#include "cli/SystemPrinter.h"

#include <fmt/format.h>

#include "cli/JSONMembers.h"
#include "cli/Text.h"
#include "cli/TextTable.h"

namespace sonmere {

namespace {

std::string problemOf(const ControlJSON& object) {
  const std::string error = textOf(object, "error");
  return error.empty() ? "" : "Problem: " + error + "\n";
}

std::string channelsOf(const ControlJSON& member) {
  const int channels = member.value("channels", 0), first = member.value("first", 1);
  if (channels == 0) return "away";
  return channels == 1 ? fmt::format("{}", first) : fmt::format("{}-{}", first, first + channels - 1);
}

}  // namespace

std::string dawText(const ControlJSON& daw) {
  const bool isOn = flag(daw, "enabled"), isThere = flag(daw, "present");
  std::string out = fmt::format("Multi-track device {}", isOn ? "on" : "off");
  if (isThere)
    out += fmt::format(", \"{}\" ({}), {} channels in and {} out", textOf(daw, "name"), textOf(daw, "device"),
                       daw.value("inputs", 0), daw.value("outputs", 0));
  else if (isOn)
    out += ", but it is not there";
  return out + "\n" + problemOf(daw);
}

std::string combinedText(const ControlJSON& daw) {
  const ControlJSON combined = daw.value("combined", ControlJSON());
  if (!combined.is_object()) return "No inputs are combined.\n";
  std::string out = fmt::format("\"{}\" ({}){}\n", textOf(combined, "name"), textOf(combined, "device"),
                                flag(combined, "present") ? "" : ", which is not there");
  TextTable table({{"channels"}, {"device"}, {"name"}});
  for (const ControlJSON& member : combined.value("members", ControlJSON::array()))
    table.add({channelsOf(member), textOf(member, "id"), textOf(member, "name")});
  return out + table.text() + problemOf(combined);
}

std::string systemText(const ControlJSON& system) {
  const std::string output = textOf(system, "outputName");
  std::string out = fmt::format("System audio {}", flag(system, "enabled") ? "on" : "off");
  if (!output.empty()) out += fmt::format(", paired with {}", output);
  if (flag(system, "following")) out += ", following the default output";
  if (flag(system, "enabled") && !flag(system, "whole")) out += ", but it is not whole";
  out += "\n";
  if (flag(system, "endedByUpdate"))
    out += "It was switched off after an update; `sonmere system on` brings it back.\n";
  return out + problemOf(system);
}

std::string mixText(const ControlJSON& mix) {
  const auto percent = [](const ControlJSON& of, const char* member) {
    return fmt::format("{:.0f} %", of.value(member, 1.0) * 100);
  };
  const ControlJSON catchAll = mix.value("catchAll", ControlJSON::object());
  std::string out = fmt::format("Mix Mode {}{}{}\n", flag(mix, "enabled") ? "on" : "off",
                                flag(mix, "audition") ? ", auditioning" : "",
                                flag(mix, "forbidden") ? ", forbidden in the settings" : "");
  out += fmt::format("What is not routed: {}, {}\n",
                     !flag(catchAll, "enabled")  ? "not heard"
                     : flag(catchAll, "running") ? "heard"
                                                 : "chosen, not heard now",
                     percent(catchAll, "volume"));
  constexpr auto kRight = TextTable::Align::right;
  TextTable table({{"id"}, {"name"}, {"hear", kRight}, {"stream", kRight}, {""}});
  for (const ControlJSON& app : mix.value("apps", ControlJSON::array()))
    table.add({textOf(app, "id"), textOf(app, "name"), percent(app, "hear"), percent(app, "stream"),
               flag(app, "linked") ? "linked" : ""});
  if (flag(mix, "hearsTracks"))
    for (const ControlJSON& track : mix.value("tracks", ControlJSON::array()))
      table.add({fmt::format("track{}", track.value("track", 0)), "", percent(track, "volume"), "",
                 flag(track, "muted") ? "muted" : ""});
  return out + table.text();
}

}  // namespace sonmere
