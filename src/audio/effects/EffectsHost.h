#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "audio/effects/ChainHelper.h"
#include "audio/effects/Effect.h"
#include "audio/effects/EffectDetails.h"

namespace sonmere {

// Finds outside effects and makes instances of them. An effect is named by its identifier. Main thread;
// completions are called on the main queue, each once, and none after the host was destroyed.
class EffectsHost {
 public:
  virtual ~EffectsHost() = default;

  // Sorted by manufacturer, then name.
  using Listed = std::function<void(Outcome<std::vector<AvailableEffect>>)>;
  virtual void availableEffects(Listed completion) = 0;
  using Described = std::function<void(Outcome<EffectDetails>)>;
  virtual void describe(const std::string& id, Described completion) = 0;
  // The state that a preset of the effect stands for.
  using PresetRead = std::function<void(Outcome<std::string>)>;
  virtual void presetState(const std::string& id, const std::string& preset, PresetRead completion) = 0;
  // What tells the version of the effect's file now; empty when the file is gone.
  virtual std::string fileStamp(const AvailableEffect& effect) = 0;

  // An instance in this process, with that state unless it is empty.
  virtual Outcome<std::shared_ptr<Effect>> instantiate(const std::string& id, double sampleRate,
                                                       const std::string& state) = 0;
  // A process for one chain.
  virtual Outcome<std::unique_ptr<ChainHelper>> startHelper() = 0;
  // Tries the effect in a process of its own. Nothing: it passed; else why it must not be used. The error is
  // that the trial could not be made.
  using Tested = std::function<void(Outcome<std::optional<std::string>>)>;
  virtual void test(const std::string& id, Tested completion) = 0;
};

}  // namespace sonmere
