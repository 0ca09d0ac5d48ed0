#include "platform/effects/helper/Questions.h"

#include <filesystem>

#include "audio/effects/EffectTrial.h"
#include "base/AtomicFile.h"
#include "platform/effects/HelperCodec.h"
#include "platform/lv2/Lv2Effect.h"
#include "platform/lv2/Lv2World.h"

namespace sonmere {

namespace {

constexpr int kCacheVersion = 1;
constexpr double kTrialRate = 48000;

HelperJSON readCache(const std::string& path) {
  const auto text = readWholeFile(path);
  HelperJSON cache = text ? HelperJSON::parse(*text, nullptr, false) : HelperJSON();
  const bool isOurs = cache.is_object() && cache.value("version", HelperJSON()) == kCacheVersion;
  HelperJSON effects = isOurs ? cache.value("effects", HelperJSON()) : HelperJSON();
  return effects.is_object() ? effects : HelperJSON::object();
}

void writeCache(const std::string& path, const HelperJSON& effects) {
  if (path.empty() || !createFolders(std::filesystem::path(path).parent_path())) return;
  (void)writeFileAtomically(path, helperLine({{"version", kCacheVersion}, {"effects", effects}}));
}

// To read a plug-in's whole description takes far longer than to see that its file is the same.
HelperJSON list(const std::string& cachePath) {
  const Lv2World world;
  const HelperJSON before = readCache(cachePath);
  HelperJSON now = HelperJSON::object(), all = HelperJSON::array();
  for (const LilvPlugin* plugin : world.all()) {
    const AvailableEffect fact = world.identify(plugin);
    const auto known = decodeHelper<AvailableEffect>(before.value(fact.id, HelperJSON()));
    const bool isSame = known && known->file == fact.file && known->fileStamp == fact.fileStamp;
    all.push_back(now[fact.id] = encodeHelper(isSame ? *known : world.describe(plugin)));
  }
  if (now != before) writeCache(cachePath, now);
  return {{"effects", all}};
}

HelperJSON describe(const std::string& id) {
  const Lv2World world;
  const LilvPlugin* plugin = world.find(id);
  if (!plugin) return {{"error", "there is no plug-in \"" + id + "\""}};
  return {{"details", encodeHelper(world.details(plugin))}};
}

HelperJSON preset(const std::string& id, const std::string& presetID) {
  Lv2World world;
  const LilvPlugin* plugin = world.find(id);
  if (!plugin) return {{"error", "there is no plug-in \"" + id + "\""}};
  for (const auto& each : world.details(plugin).presets)
    if (each.id == presetID || each.name == presetID) {
      const auto state = world.presetState(each.id);
      return state ? HelperJSON{{"state", *state}} : HelperJSON{{"error", state.error().description}};
    }
  return {{"error", "there is no preset \"" + presetID + "\""}};
}

HelperJSON attempt(const std::string& id) {
  const auto scratch = std::filesystem::temp_directory_path() / "sonmere-trial";
  const auto effect = Lv2Effect::make(std::make_shared<Lv2World>(), id, kTrialRate, "", scratch.string());
  if (!effect) return {{"refusal", effect.error().description}};
  const auto state = (*effect)->fullState();
  return {{"refusal", tryEffect(**effect, kTrialRate).value_or(state ? "" : state.error().description)}};
}

HelperJSON answer(const std::vector<std::string>& words) {
  if (words.size() == 2 && words[0] == "list") return list(words[1]);
  if (words.size() == 2 && words[0] == "describe") return describe(words[1]);
  if (words.size() == 3 && words[0] == "preset") return preset(words[1], words[2]);
  if (words.size() == 2 && words[0] == "try") return attempt(words[1]);
  return {};
}

}  // namespace

std::string answerQuestion(const std::vector<std::string>& words) {
  const HelperJSON said = answer(words);
  return said.is_null() ? std::string() : helperLine(said);
}

}  // namespace sonmere
