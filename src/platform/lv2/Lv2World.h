#pragma once

#include <lilv/lilv.h>

#include <memory>
#include <string>
#include <vector>

#include "audio/effects/EffectDetails.h"
#include "base/Error.h"
#include "platform/lv2/UridMap.h"

namespace sonmere {

struct LilvFree {
  void operator()(LilvNode* node) const { lilv_node_free(node); }
  void operator()(LilvWorld* world) const { lilv_world_free(world); }
  void operator()(LilvState* state) const { lilv_state_free(state); }
  void operator()(LilvInstance* instance) const { lilv_instance_free(instance); }
};
template <class T>
using LilvOwner = std::unique_ptr<T, LilvFree>;

// The plug-ins that are installed, as their descriptions say. Made of all bundles' manifests, in about a
// tenth of a second; what else is asked of a plug-in is read then. One thread at a time.
class Lv2World {
 public:
  Lv2World();

  // Null where there is none.
  const LilvPlugin* find(const std::string& id) const;
  std::vector<const LilvPlugin*> all() const;
  // `id`, `file` and `fileStamp` alone, which the manifests tell.
  AvailableEffect identify(const LilvPlugin* plugin) const;
  AvailableEffect describe(const LilvPlugin* plugin) const;
  EffectDetails details(const LilvPlugin* plugin) const;
  // The preset's state as text.
  Outcome<std::string> presetState(const std::string& preset);

  LilvWorld* get() const { return world_.get(); }
  UridMap& urids() const { return *urids_; }
  LilvOwner<LilvNode> uri(const char* text) const { return LilvOwner<LilvNode>(lilv_new_uri(get(), text)); }

  // What tells the version of a file; empty for none.
  static std::string stampOf(const std::string& file);

 private:
  std::string obstacle(const LilvPlugin* plugin) const;
  std::vector<EffectControl> controls(const LilvPlugin* plugin) const;
  EffectControl control(const LilvPlugin* plugin, const LilvPort* port) const;
  std::string unit(const LilvPlugin* plugin, const LilvPort* port) const;
  std::vector<EffectDetails::Preset> presets(const LilvPlugin* plugin) const;

  const std::unique_ptr<UridMap> urids_ = std::make_unique<UridMap>();
  const LilvOwner<LilvWorld> world_;
};

}  // namespace sonmere
