#include "cli/DemoPrinter.h"

#include <fmt/format.h>

#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "cli/JSONOutput.h"
#include "cli/Text.h"

namespace sonmere {

namespace {

std::string decibels(float linear) {
  return linear > 0 ? fmt::format("{:.1f} dBFS", 20 * std::log10(linear)) : "silent";
}

}  // namespace

void printDemoTable(const DemoReport& report) {
  fmt::print("{:<16} {:<10} {:>11} {:>7} {:>12} {:>9}\n", "app", "route", "level", "volume", "added delay",
             "underruns");
  for (const DemoReport::App& app : report.apps)
    fmt::print("{:<16} {:<10} {:>8.1f} dB {:>5.0f} % {:>9.1f} ms {:>9}\n", printable(app.id),
               app.bus ? busName(*app.bus) : "-", app.peakLevelDb, app.volume * 100, app.addedDelayMs,
               app.underruns);
  fmt::print("\n{:<10} {:<12} {:>9} {:>10} {:>11}  {}\n", "bus", "format", "length", "frames", "peak",
             "file");
  for (const DemoReport::File& file : report.files)
    fmt::print("{:<10} {:<12} {:>7.2f} s {:>10} {:>11}  {}\n", busName(file.bus),
               file.format + " " + file.bitDepth, double(file.frames) / file.sampleRate, file.frames,
               decibels(file.peak), printable(file.path));
  fmt::print("\n{}\n", printableLines(report.latency));
}

void printDemoJSON(const DemoReport& report) {
  nlohmann::ordered_json apps = nlohmann::ordered_json::array(), files = apps;
  for (const DemoReport::App& app : report.apps)
    apps.push_back({{"id", app.id},
                    {"bus", app.bus ? nlohmann::ordered_json(*app.bus) : nlohmann::ordered_json(nullptr)},
                    {"levelDb", shortest(app.peakLevelDb)},
                    {"volume", shortest(app.volume)},
                    {"addedDelayMs", app.addedDelayMs},
                    {"underruns", app.underruns}});
  for (const DemoReport::File& file : report.files)
    files.push_back({{"bus", file.bus},
                     {"path", file.path},
                     {"format", file.format},
                     {"bitDepth", file.bitDepth},
                     {"frames", file.frames},
                     {"sampleRate", file.sampleRate},
                     {"peak", shortest(file.peak)}});
  nlohmann::ordered_json all{{"apps", apps}, {"files", files}};
  if (report.problem) all["problem"] = *report.problem;
  printJSON(all);
}

}  // namespace sonmere
