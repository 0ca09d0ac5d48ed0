#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "audio/effects/Effect.h"
#include "audio/effects/PluginScope.h"
#include "audio/effects/SharedChain.h"
#include "base/SettingsStore.h"

namespace sonmere {

// Chains as the user wants them, in the settings and in files. Main thread.
struct PluginChainStore {
  // The longest chain, of a file too.
  static constexpr std::size_t kMostPlugins = SharedChain::kMostPlugins;

  struct Entry {
    std::string id;
    std::string name, mfrName;  // shown while the effect is not there
    bool bypassed = false;
    std::optional<std::string> fullState;
    EffectValues values;  // set since that state was taken

    bool operator==(const Entry&) const = default;
  };

  PluginChainStore() = delete;

  // An entry that can't be read is left out; the rest stands.
  static std::vector<Entry> load(const SettingsStore& settings, const PluginScope& scope);
  static void save(SettingsStore& settings, const PluginScope& scope, const std::vector<Entry>& entries);
  // Chains that run inside the program.
  static bool isTrusted(const SettingsStore& settings, const PluginScope& scope);
  static void setTrusted(SettingsStore& settings, const PluginScope& scope, bool trusted);
  // The scopes that have a chain.
  static std::vector<PluginScope> scopes(const SettingsStore& settings);

  // A chain as a file of its own.
  static std::string fileText(const std::vector<Entry>& entries);
  // All of it or nothing, with the reason.
  static Outcome<std::vector<Entry>> readFile(std::string_view text);
};

}  // namespace sonmere
