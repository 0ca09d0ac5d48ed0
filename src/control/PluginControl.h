#pragma once

#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "app/ToneFerryApp.h"
#include "control/PluginState.h"

namespace sonmere {

// Plug-ins and their chains. A scope is "mic", "bus:N", or "app:" and an app as matchApp allows or an
// identifier; a plug-in of a chain is its number, from 1 on, or any part of its name that fits no other. Main
// thread; what has to wait for another process answers later.
class PluginControl {
 public:
  explicit PluginControl(ToneFerryApp& app) : app_(app) {}

  template <class T>
  using Done = std::function<void(Outcome<T>)>;

  PluginOverview overview() const;
  Outcome<PluginChainState> chain(const std::string& scope) const;
  // Those whose name, manufacturer, category or identifier holds every word of `search`.
  void available(const std::string& search, Done<std::vector<PluginOffer>> done) const;
  // By its identifier, or that of a chain where `scope` is not empty.
  void info(const std::string& plugin, const std::string& scope, Done<PluginInfo> done) const;

  void add(const std::string& scope, const std::string& id, std::optional<int> position,
           Done<PluginChainState> done) const;
  Outcome<PluginChainState> remove(const std::string& scope, const std::string& plugin) const;
  Outcome<PluginChainState> move(const std::string& scope, const std::string& plugin, int position) const;
  Outcome<PluginChainState> setBypassed(const std::string& scope, const std::string& plugin,
                                        bool bypassed) const;
  // A number, the name of one of the control's values, "on" or "off"; one beyond its range is refused. A
  // control is named by its symbol, or by its name.
  void setControl(const std::string& scope, const std::string& plugin, const std::string& control,
                  const std::string& value, Done<PluginChainState> done) const;
  // By name or identifier.
  void setPreset(const std::string& scope, const std::string& plugin, const std::string& preset,
                 Done<PluginChainState> done) const;
  Outcome<PluginChainState> setTrusted(const std::string& scope, bool trusted) const;
  // The chain as a file. The path is a full one.
  void save(const std::string& scope, const std::string& path, Done<PluginChainState> done) const;
  // A file in place of the chain: all of it or nothing.
  Outcome<PluginChainState> load(const std::string& scope, const std::string& path) const;

 private:
  struct Named {
    PluginScope scope;
    std::size_t position;
    int key;
    std::string id;
  };
  PluginChains& chains() const { return app_.pluginChains(); }
  Outcome<PluginScope> scopeOf(const std::string& text) const;
  Outcome<Named> find(const std::string& scope, const std::string& plugin) const;
  // Where the plug-in stands now: what is answered later may find another chain.
  Outcome<std::size_t> placeOf(const Named& named) const;
  PluginChainState describe(const PluginScope& scope) const;

  ToneFerryApp& app_;
};

}  // namespace sonmere
