#include "audio/effects/PluginChainStore.h"

#include <fmt/format.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "base/Base64.h"

namespace sonmere {

namespace {

using JSON = nlohmann::ordered_json;
using Entry = PluginChainStore::Entry;

constexpr const char* kChainPrefix = "sonmere.pluginChain.";
constexpr const char* kTrustedPrefix = "sonmere.pluginChainTrusted.";
constexpr const char* kFileKind = "sonmere plug-in chain";
constexpr int kFileVersion = 1;
// An effect that keeps more than this inside its state keeps it in files.
constexpr std::size_t kLongestState = 8u << 20;  // bytes of base64

JSON encode(const Entry& entry) {
  JSON json{{"id", entry.id}, {"name", entry.name}, {"mfrName", entry.mfrName}, {"bypassed", entry.bypassed}};
  if (entry.fullState) json["fullState"] = toBase64(*entry.fullState);
  if (!entry.values.empty()) json["values"] = entry.values;
  return json;
}

JSON encode(const std::vector<Entry>& entries) {
  JSON list = JSON::array();
  for (const Entry& entry : entries) list.push_back(encode(entry));
  return list;
}

std::unexpected<Error> bad(std::string text) { return std::unexpected(Error{"Plugins", 1, std::move(text)}); }

Outcome<std::string> textOf(const JSON& json, const char* member) {
  const auto found = json.find(member);
  if (found == json.end()) return std::string();
  if (!found->is_string()) return bad(fmt::format("its \"{}\" is no text", member));
  return found->get<std::string>();
}

Outcome<void> readState(const JSON& json, Entry& entry) {
  const auto found = json.find("fullState");
  if (found == json.end()) return {};
  if (!found->is_string() || found->get_ref<const std::string&>().size() > kLongestState)
    return bad("its \"fullState\" is no text, or too long");
  entry.fullState = fromBase64(found->get_ref<const std::string&>());
  if (!entry.fullState) return bad("its \"fullState\" is not base64");
  return {};
}

Outcome<void> readValues(const JSON& json, Entry& entry) {
  const auto found = json.find("values");
  if (found == json.end()) return {};
  if (!found->is_object()) return bad("its \"values\" are no object");
  for (const auto& [symbol, value] : found->items()) {
    if (!value.is_number() || !std::isfinite(value.get<float>()))
      return bad(fmt::format("its value \"{}\" is no number", symbol));
    entry.values[symbol] = value.get<float>();
  }
  return {};
}

Outcome<Entry> decode(const JSON& json) {
  if (!json.is_object()) return bad("it is no object");
  Entry entry;
  for (const auto& [member, target] :
       {std::pair{"id", &entry.id}, {"name", &entry.name}, {"mfrName", &entry.mfrName}}) {
    auto text = textOf(json, member);
    if (!text) return std::unexpected(text.error());
    *target = std::move(*text);
  }
  if (entry.id.empty()) return bad("it names no plug-in");
  const auto bypassed = json.find("bypassed");
  if (bypassed != json.end() && !bypassed->is_boolean()) return bad("its \"bypassed\" is no true or false");
  entry.bypassed = bypassed != json.end() && bypassed->get<bool>();
  if (const auto read = readState(json, entry); !read) return std::unexpected(read.error());
  if (const auto read = readValues(json, entry); !read) return std::unexpected(read.error());
  return entry;
}

}  // namespace

std::vector<Entry> PluginChainStore::load(const SettingsStore& settings, const PluginScope& scope) {
  std::vector<Entry> entries;
  const auto text = settings.data(kChainPrefix + scope.key());
  const JSON list = text ? JSON::parse(*text, nullptr, false) : JSON::array();
  if (!list.is_array()) return entries;
  for (const JSON& each : list)
    if (auto entry = decode(each); entry && entries.size() < kMostPlugins)
      entries.push_back(std::move(*entry));
  return entries;
}

void PluginChainStore::save(SettingsStore& settings, const PluginScope& scope,
                            const std::vector<Entry>& entries) {
  const std::string key = kChainPrefix + scope.key();
  if (entries.empty()) return settings.remove(key);
  settings.set(key, SettingsData{encode(entries).dump(-1, ' ', false, JSON::error_handler_t::replace)});
}

bool PluginChainStore::isTrusted(const SettingsStore& settings, const PluginScope& scope) {
  return settings.boolValue(kTrustedPrefix + scope.key());
}

void PluginChainStore::setTrusted(SettingsStore& settings, const PluginScope& scope, bool trusted) {
  const std::string key = kTrustedPrefix + scope.key();
  trusted ? settings.set(key, true) : settings.remove(key);
}

std::vector<PluginScope> PluginChainStore::scopes(const SettingsStore& settings) {
  std::vector<PluginScope> found;
  for (const std::string& key : settings.keys())
    if (key.starts_with(kChainPrefix))
      found.push_back(
          PluginScope::fromKey(std::string_view(key).substr(std::string_view(kChainPrefix).size())));
  return found;
}

std::string PluginChainStore::fileText(const std::vector<Entry>& entries) {
  return JSON{{"kind", kFileKind}, {"version", kFileVersion}, {"plugins", encode(entries)}}.dump(
             2, ' ', false, JSON::error_handler_t::replace) +
         "\n";
}

Outcome<std::vector<Entry>> PluginChainStore::readFile(std::string_view text) {
  const JSON file = JSON::parse(text, nullptr, false);
  if (!file.is_object() || file.value("kind", JSON()) != kFileKind) return bad("this is no plug-in chain");
  const JSON version = file.value("version", JSON());
  if (version != kFileVersion)
    return bad(fmt::format("this plug-in chain is of version {}, and this program reads version {}",
                           version.dump(), kFileVersion));
  const JSON list = file.value("plugins", JSON());
  if (!list.is_array() || list.size() > kMostPlugins)
    return bad(fmt::format("\"plugins\" must be a list of at most {}", kMostPlugins));
  std::vector<Entry> entries;
  for (const JSON& each : list) {
    auto entry = decode(each);
    if (!entry)
      return bad(fmt::format("plug-in {} can't be read: {}", entries.size() + 1, entry.error().description));
    entries.push_back(std::move(*entry));
  }
  return entries;
}

}  // namespace sonmere
