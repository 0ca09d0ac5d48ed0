#include "cli/DemoPrinter.h"

#include <fmt/format.h>

#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "app/EmbeddedPlatform.h"
#include "cli/JSONOutput.h"
#include "cli/Text.h"
#include "cli/TextTable.h"
#include "recording/RecordedSource.h"

namespace sonmere {

namespace {

std::string decibels(float linear) {
  return linear > 0 ? fmt::format("{:.1f} dBFS", 20 * std::log10(linear)) : "silent";
}

std::string routeOf(const DemoReport::App& app) {
  if (!app.output.empty()) return app.output;
  return app.bus ? busLabel(*app.bus) : "-";
}

bool isSpeakers(const DemoReport::Heard& heard) {
  return heard.device == EmbeddedPlatform::outputs().front().uid;
}

std::string placeOf(const DemoReport::Heard& heard) {
  const bool isFirst = heard.left == 1 && heard.right == 2;
  return heard.name + (isFirst ? "" : fmt::format(" {}/{}", heard.left, heard.right));
}

}  // namespace

void printDemoTable(const DemoReport& report) {
  constexpr auto kRight = TextTable::Align::right;
  TextTable apps({{"app"},
                  {"route"},
                  {"level", kRight},
                  {"volume", kRight},
                  {"added delay", kRight},
                  {"underruns", kRight}});
  for (const DemoReport::App& app : report.apps)
    apps.add({app.id, routeOf(app), fmt::format("{:.1f} dB", app.peakLevelDb),
              fmt::format("{:.0f} %", app.volume * 100), fmt::format("{:.1f} ms", app.addedDelayMs),
              fmt::format("{}", app.underruns)});
  TextTable files({{"of"}, {"format"}, {"length", kRight}, {"frames", kRight}, {"peak", kRight}, {"file"}});
  const auto add = [&files](const std::string& what, const DemoReport::File& file) {
    files.add({what, file.format + " " + file.bitDepth,
               fmt::format("{:.2f} s", double(file.frames) / file.sampleRate), fmt::format("{}", file.frames),
               decibels(file.peak), file.path});
  };
  for (const DemoReport::File& file : report.files)
    add(file.source >= 0 ? busLabel(file.source) : recordedSourceName(file.source), file);
  for (const DemoReport::Heard& each : report.heard)
    add(isSpeakers(each) ? "speakers" : placeOf(each), each.file);
  fmt::print("{}\n{}\n{}\n", apps.text(), files.text(), printableLines(report.latency));
}

namespace {

nlohmann::ordered_json encodeFile(const DemoReport::File& file) {
  return {{"path", file.path},     {"format", file.format},         {"bitDepth", file.bitDepth},
          {"frames", file.frames}, {"sampleRate", file.sampleRate}, {"peak", shortest(file.peak)}};
}

}  // namespace

void printDemoJSON(const DemoReport& report) {
  nlohmann::ordered_json apps = nlohmann::ordered_json::array(), files = apps;
  for (const DemoReport::App& app : report.apps)
    apps.push_back({{"id", app.id},
                    {"bus", app.bus ? nlohmann::ordered_json(*app.bus) : nlohmann::ordered_json(nullptr)},
                    {"output", app.output.empty() ? nlohmann::ordered_json(nullptr)
                                                  : nlohmann::ordered_json(app.output)},
                    {"levelDb", shortest(app.peakLevelDb)},
                    {"volume", shortest(app.volume)},
                    {"addedDelayMs", app.addedDelayMs},
                    {"underruns", app.underruns}});
  for (const DemoReport::File& file : report.files) {
    const bool isBus = file.source >= 0;
    nlohmann::ordered_json entry{
        {"bus", isBus ? nlohmann::ordered_json(file.source) : nlohmann::ordered_json(nullptr)},
        {"source", isBus ? "bus" : recordedSourceName(file.source)}};
    entry.update(encodeFile(file));
    files.push_back(std::move(entry));
  }
  nlohmann::ordered_json all{{"apps", apps}, {"files", files}};
  for (const DemoReport::Heard& heard : report.heard) {
    if (isSpeakers(heard)) {
      all["speakers"] = encodeFile(heard.file);
      continue;
    }
    nlohmann::ordered_json entry{{"name", heard.name}, {"left", heard.left}, {"right", heard.right}};
    entry.update(encodeFile(heard.file));
    all["devices"].push_back(std::move(entry));
  }
  if (report.problem) all["problem"] = *report.problem;
  printJSON(all);
}

}  // namespace sonmere
