#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <map>
#include <nlohmann/json.hpp>

#include "Bench.h"

namespace sonmere {
namespace {

using Group = void (*)(Bench&);

// In the order of the table.
const std::vector<std::pair<std::string, Group>> kGroups = {
    {"kernels", benchKernels}, {"simulation", benchSimulation}, {"editor", benchEditor},
    {"files", benchFiles},     {"library", benchLibrary},       {"input", benchInput},
    {"effects", benchEffects},
};

void printTable(const Bench& bench) {
  fmt::print("{:<4} {:<58} {:>9} {:>9}  {}\n", "id", "work", "value", "goal", "target");
  for (const BenchResult& row : bench.results()) {
    const bool isMet = row.atMost ? row.value <= row.goal : row.value >= row.goal;
    fmt::print("{:<4} {:<58} {:>9.2f} {:>2}{:>7.2f}  {}{}\n", row.id, row.work, row.value,
               row.atMost ? "<=" : ">=", row.goal, row.target, isMet ? "" : "  (missed)");
  }
  for (const std::string& note : bench.notes()) fmt::print("{}\n", note);
}

void writeJSON(const Bench& bench, const std::string& path) {
  nlohmann::json results = nlohmann::json::array();
  for (const BenchResult& row : bench.results())
    results.push_back({{"id", row.id}, {"value", row.value}, {"goal", row.goal}, {"target", row.target}});
  std::FILE* file = path == "-" ? stdout : std::fopen(path.c_str(), "w");
  if (!file) benchFailed(path + " can't be written");
  const std::string text = nlohmann::json{{"results", std::move(results)}}.dump(1) + "\n";
  const bool isWritten = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  if ((file != stdout && std::fclose(file) != 0) || !isWritten) benchFailed(path + " can't be written");
}

int runBench(int argc, char** argv) {
  CLI::App app("Measures the parts that must be fast", "bench");
  std::string path;
  int rounds = 100;
  std::vector<std::string> chosen;
  app.add_option("--json", path, "Write the results to a file too")->type_name("FILE");
  app.add_option("--rounds", rounds, "Rounds of each comparison")->check(CLI::Range(1, 100000));
  app.add_option("GROUP", chosen, "Only these groups");
  CLI11_PARSE(app, argc, argv);
  Bench bench(rounds);
  std::size_t known = 0;
  for (const auto& [name, group] : kGroups) {
    const auto count = std::count(chosen.begin(), chosen.end(), name);
    known += std::size_t(count);
    if (!chosen.empty() && !count) continue;
    fmt::print(stderr, "{} ...\n", name);
    group(bench);
  }
  if (known != chosen.size()) {
    std::string names;
    for (const auto& [name, group] : kGroups) names += " " + name;
    benchFailed("there is no such group; the groups are" + names);
  }
  printTable(bench);
  if (!path.empty()) writeJSON(bench, path);
  return 0;
}

}  // namespace
}  // namespace sonmere

int main(int argc, char** argv) { return sonmere::runBench(argc, argv); }
