#include "cli/CompletionSources.h"

#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>

#include "app/PlatformFolders.h"
#include "app/SettingsTable.h"
#include "audio/device/BusName.h"
#include "audio/device/BusTable.h"
#include "cli/GivenTrackNames.h"
#include "cli/PluginPrinter.h"
#include "cli/ScopeText.h"
#include "cli/UserLibrary.h"
#include "control/ControlClient.h"
#include "control/PresetFiles.h"
#include "editor/export/ExportFormat.h"
#include "recording/RecordingFileName.h"
#include "recording/library/RecordingsListing.h"

namespace sonmere {

namespace {

using Candidates = std::vector<CompletionReply::Candidate>;

// What the running program answers; null when there is no answer.
ControlJSON answerTo(const char* method, const ControlJSON& params = nullptr) {
  auto client = ControlClient::connect(userControlFolder());
  if (!client) return nullptr;
  auto answer = client->call(method, params);
  return answer ? std::move(*answer) : ControlJSON(nullptr);
}

std::string textOf(const ControlJSON& object, const char* member) {
  const auto found = object.find(member);
  return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

// A list of objects that is a member of `object`.
std::vector<ControlJSON> listOf(const ControlJSON& object, const char* member) {
  const auto found = object.is_object() ? object.find(member) : object.end();
  std::vector<ControlJSON> all;
  if (!object.is_object() || found == object.end() || !found->is_array()) return all;
  for (const ControlJSON& each : *found)
    if (each.is_object()) all.push_back(each);
  return all;
}

// A list of the running program, or one that is a member of what it answers, each by two of its members.
Candidates ask(const char* method, const char* word, const char* help, const char* list = nullptr) {
  const ControlJSON answer = answerTo(method);
  const ControlJSON whole = list ? answer : ControlJSON{{"all", answer}};
  Candidates found;
  for (const ControlJSON& each : listOf(whole, list ? list : "all"))
    found.push_back({textOf(each, word), textOf(each, help)});
  return found;
}

// By their names, which say all.
Candidates byName(Candidates all) {
  for (auto& each : all) each.help.clear();
  return all;
}

// Those that have a name of the user's by that one too.
Candidates buses() {
  Candidates all;
  for (int bus = 0; bus < kBusCount; ++bus)
    if (isRoutableBus(bus)) all.push_back({busWord(bus), busLabel(bus)});
  for (const auto& [bus, name] : givenTrackNames()) all.push_back({name, busLabel(bus)});
  return all;
}

// What a chain of plug-ins can be on.
Candidates scopes() {
  Candidates all;
  for (auto& app : ask("apps", "id", "name")) all.push_back({"app:" + app.word, app.help});
  for (auto& bus : buses()) all.push_back({"bus:" + bus.word, bus.help});
  all.push_back({"mic", "the microphone"});
  return all;
}

std::string given(const CompletionGiven& words, const char* argument) {
  const auto found = words.find(argument);
  return found == words.end() ? std::string() : found->second;
}

// The plug-ins of the chain that was named, by their numbers.
Candidates pluginsOf(const CompletionGiven& words) {
  const auto scope = readScope(given(words, "SCOPE"));
  if (!scope) return {};
  Candidates all;
  for (const ControlJSON& each : listOf(answerTo("plugin.chain", {{"scope", *scope}}), "plugins"))
    all.push_back({std::to_string(each.value("position", 0)), textOf(each, "name")});
  return all;
}

// What is known of the plug-in that was named.
ControlJSON pluginInfo(const CompletionGiven& words) {
  const auto scope = readScope(given(words, "SCOPE"));
  if (!scope) return nullptr;
  return answerTo("plugin.info", {{"scope", *scope}, {"plugin", given(words, "PLUGIN")}});
}

Candidates controlsOf(const CompletionGiven& words) {
  Candidates all;
  for (const ControlJSON& each : listOf(pluginInfo(words), "controls"))
    all.push_back({textOf(each, "symbol"), textOf(each, "name") + ", " + controlRange(each)});
  return all;
}

// Values that have a name; numbers are the user's.
Candidates settingsOf(const CompletionGiven& words) {
  const std::string wanted = given(words, "CONTROL");
  Candidates all;
  for (const ControlJSON& each : listOf(pluginInfo(words), "controls")) {
    if (textOf(each, "symbol") != wanted && textOf(each, "name") != wanted) continue;
    for (const ControlJSON& point : listOf(each, "points")) all.push_back({textOf(point, "label"), ""});
    if (each.value("toggle", false)) all.insert(all.end(), {{"on", ""}, {"off", ""}});
  }
  return all;
}

Candidates presetsOf(const CompletionGiven& words) {
  Candidates all;
  for (const ControlJSON& each : listOf(pluginInfo(words), "presets"))
    all.push_back({textOf(each, "name"), ""});
  return all;
}

Candidates presets() {
  Candidates all;
  for (const std::string& name : presetNames()) all.push_back({name, ""});
  return all;
}

Candidates rules() {
  Candidates all;
  for (const ControlJSON& each : listOf({{"all", answerTo("rules")}}, "all"))
    all.push_back({std::to_string(each.value("rule", 0)), textOf(each, "does")});
  return all;
}

Candidates reasons() {
  Candidates all{{"mic=on", "the microphone is on"}};
  for (auto& app : ask("apps", "id", "name")) all.push_back({"app=" + app.word, app.help});
  for (auto& device : ask("devices", "name", "name")) all.push_back({"device=" + device.word, ""});
  return all;
}

Candidates acts() {
  Candidates all;
  for (auto& profile : ask("profiles", "name", "name")) all.push_back({"profile apply " + profile.word, ""});
  return all;
}

Candidates volumes() {
  return {{"0%", "silence"},      {"50%", ""},       {"100%", "as it is"},
          {"-6dB", "about half"}, {"+5%", "louder"}, {"-5%", "more quietly"}};
}

// Nothing for settings that are damaged: opening them would set them aside.
std::unique_ptr<UserLibrary> openLibrary() {
  std::ifstream file(defaultSettingsPath(), std::ios::binary);
  const std::string text(std::istreambuf_iterator<char>(file), {});
  if (!text.empty() && !nlohmann::json::accept(text)) return nullptr;
  auto user = UserLibrary::open([](const std::string&) {});
  return user ? std::move(*user) : nullptr;
}

Candidates settingsKeys() {
  Candidates all;
  for (const std::string& key : settableKeys()) all.push_back({key, describeSetting(key)->meaning});
  return all;
}

// The newest first.
Candidates stamps() {
  const auto user = openLibrary();
  if (!user) return {};
  const auto listing = RecordingsListing::open(*user->library().folderInUse);
  if (!listing) return {};
  std::set<std::string, std::greater<>> found;
  for (const auto& entry : listing->entries)
    if (const auto parts = parseRecordingName(entry.name)) found.emplace(parts->stamp);
  Candidates all;
  for (const std::string& stamp : found) all.push_back({stamp, ""});
  return all;
}

Candidates formats() {
  Candidates all;
  for (const ExportFormat& format : allExportFormats()) all.push_back({name(format), ""});
  return all;
}

}  // namespace

Candidates completionSource(const std::string& kind, const CompletionGiven& given) {
  if (kind == "ID") return ask("apps", "id", "name");
  if (kind == "PROFILE") return byName(ask("profiles", "name", "name"));
  if (kind == "BUS") return buses();
  if (kind == "SCOPE") return scopes();
  if (kind == "DEVICE") return ask("input", "id", "name", "devices");
  if (kind == "OUTPUT") return ask("monitor", "id", "name", "devices");
  if (kind == "INPUT") return byName(ask("input", "name", "name", "inputs"));
  if (kind == "URI") return ask("plugins.available", "plugin", "name");
  if (kind == "PLUGIN") return pluginsOf(given);
  if (kind == "CONTROL") return controlsOf(given);
  if (kind == "SETTING") return settingsOf(given);
  if (kind == "PRESET") return given.contains("PLUGIN") ? presetsOf(given) : presets();
  if (kind == "RULE") return rules();
  if (kind == "REASON") return reasons();
  if (kind == "ACT") return acts();
  if (kind == "VOLUME") return volumes();
  if (kind == "KEY") return settingsKeys();
  if (kind == "STAMP") return stamps();
  if (kind == "FORMAT") return formats();
  return {};
}

}  // namespace sonmere
