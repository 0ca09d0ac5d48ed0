#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "audio/effects/EffectsHost.h"
#include "base/Lifetime.h"
#include "base/SettingsStore.h"

namespace sonmere {

// Lets effects in: looks them up, and has each tried before its first use and again when its file has
// changed. What came of it is kept in the settings. Main thread.
class EffectIntake {
 public:
  // `host` may be null: then nothing is let in.
  EffectIntake(SettingsStore& settings, EffectsHost* host) : settings_(settings), host_(host) {}

  using Admitted = std::function<void(Outcome<EffectDetails>)>;
  // The error says in a sentence why the effect can't be used. Not called after the intake was destroyed.
  void admit(const std::string& id, Admitted done);
  // The effect, whether or not it may be used.
  void describe(const std::string& id, Admitted done);
  // Why it was refused when its file was as it is now; empty when it passed, nothing when it was not tried.
  std::optional<std::string> verdict(const AvailableEffect& effect) const;
  // Forgets what came of a trial.
  void forget(const std::string& id);

 private:
  void judge(const EffectDetails& details, Admitted done);
  void remember(const std::string& id, const std::string& stamp, const std::string& refusal);

  SettingsStore& settings_;
  EffectsHost* const host_;
  std::map<std::string, EffectDetails> known_;  // by identifier
  Lifetime lifetime_;
};

}  // namespace sonmere
