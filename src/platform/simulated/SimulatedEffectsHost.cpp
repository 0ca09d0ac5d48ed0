#include "platform/simulated/SimulatedEffectsHost.h"

#include <algorithm>

#include "audio/effects/EffectOrder.h"
#include "audio/effects/EffectTrial.h"
#include "platform/simulated/SimulatedChainHelper.h"

namespace sonmere {

namespace {

constexpr double kTrialRate = 48000;

Error unknown(const std::string& id) { return {"Plugins", 11, "there is no plug-in \"" + id + "\""}; }

}  // namespace

void SimulatedEffectsHost::later(Task task) { runtime_.mainQueue().post(lifetime_.guard(std::move(task))); }

std::optional<Error> SimulatedEffectsHost::fault(Operation operation, const char* what) {
  const auto status = faults_.next(operation);
  return status ? std::optional(Error{"Plugins", *status, what}) : std::nullopt;
}

std::string SimulatedEffectsHost::fileStamp(const AvailableEffect& effect) {
  if (!SimulatedEffect::kindOf(effect.id)) return outside_ ? outside_->fileStamp(effect) : std::string();
  if (removed_.contains(effect.id)) return {};
  const auto version = versions_.find(effect.id);
  return std::to_string(version == versions_.end() ? 1 : 1 + version->second);
}

std::optional<EffectDetails> SimulatedEffectsHost::find(const std::string& id) const {
  if (removed_.contains(id)) return std::nullopt;
  for (EffectDetails& each : SimulatedEffect::all())
    if (each.effect.id == id) return std::move(each);
  return std::nullopt;
}

void SimulatedEffectsHost::availableEffects(Listed completion) {
  std::vector<AvailableEffect> own;
  for (EffectDetails& each : SimulatedEffect::all())
    if (!removed_.contains(each.effect.id)) own.push_back(std::move(each.effect));
  const auto answer = [own, completion](const std::vector<AvailableEffect>& others) {
    std::vector<AvailableEffect> all = own;
    all.insert(all.end(), others.begin(), others.end());
    sortEffects(all);
    completion(std::move(all));
  };
  if (!outside_) return later([answer] { answer({}); });
  outside_->availableEffects([answer](const Outcome<std::vector<AvailableEffect>>& others) {
    answer(others.value_or(std::vector<AvailableEffect>()));
  });
}

void SimulatedEffectsHost::describe(const std::string& id, Described completion) {
  if (const auto error = fault(Operation::effectDescribe, "it can't be looked up"))
    return later([completion, error = *error] { completion(std::unexpected(error)); });
  auto found = find(id);
  if (found) {
    found->effect.fileStamp = fileStamp(found->effect);
    return later([completion, details = *found] { completion(details); });
  }
  if (outside_ && !SimulatedEffect::kindOf(id)) return outside_->describe(id, std::move(completion));
  later([completion, id] { completion(std::unexpected(unknown(id))); });
}

void SimulatedEffectsHost::presetState(const std::string& id, const std::string& preset,
                                       PresetRead completion) {
  if (outside_ && !SimulatedEffect::kindOf(id))
    return outside_->presetState(id, preset, std::move(completion));
  later([completion, preset] {
    if (preset == "urn:sonmere:gain#half") return completion(R"({"version":1,"values":{"gain":-6.0206}})");
    completion(std::unexpected(Error{"Plugins", 12, "there is no preset \"" + preset + "\""}));
  });
}

Outcome<std::shared_ptr<Effect>> SimulatedEffectsHost::make(const std::string& id, double sampleRate,
                                                            const std::string& state, SimulatedFate* fate) {
  if (const auto error = fault(Operation::effectInstantiate, "it can't be made"))
    return std::unexpected(*error);
  const auto kind = SimulatedEffect::kindOf(id);
  if (kind) return SimulatedEffect::make(*kind, sampleRate, state, fate);
  if (outside_) return outside_->instantiate(id, sampleRate, state);
  return std::unexpected(unknown(id));
}

Outcome<std::shared_ptr<Effect>> SimulatedEffectsHost::instantiate(const std::string& id, double sampleRate,
                                                                   const std::string& state) {
  return make(id, sampleRate, state, nullptr);
}

Outcome<std::unique_ptr<ChainHelper>> SimulatedEffectsHost::startHelper() {
  if (const auto error = fault(Operation::effectHelperStart, "can't be started"))
    return std::unexpected(*error);
  auto fate = std::make_shared<SimulatedFate>();
  std::erase_if(fates_, [](const auto& each) { return each.expired(); });
  fates_.push_back(fate);
  return std::make_unique<SimulatedChainHelper>(
      runtime_, faults_, fate,
      [this, fate](const std::string& id, double sampleRate, const std::string& state) {
        return make(id, sampleRate, state, fate.get());
      });
}

void SimulatedEffectsHost::test(const std::string& id, Tested completion) {
  if (const auto error = fault(Operation::effectTest, "it could not be tried"))
    return later([completion, error = *error] { completion(std::unexpected(error)); });
  const auto kind = SimulatedEffect::kindOf(id);
  if (!kind && outside_) return outside_->test(id, std::move(completion));
  if (!kind) return later([completion, id] { completion(std::unexpected(unknown(id))); });
  SimulatedFate fate;
  const auto effect = SimulatedEffect::make(*kind, kTrialRate, "", &fate);
  auto refusal = tryEffect(**effect, kTrialRate);
  if (fate.kind == SimulatedFate::Kind::crashed) refusal = "it crashes (signal 11)";
  later([completion, refusal] { completion(refusal); });
}

bool SimulatedEffectsHost::killHelper() {
  for (auto each = fates_.rbegin(); each != fates_.rend(); ++each) {
    const auto fate = each->lock();
    if (!fate || fate->kind != SimulatedFate::Kind::lives) continue;
    fate->kind = SimulatedFate::Kind::crashed;
    return true;
  }
  return false;
}

int SimulatedEffectsHost::livingHelpers() const {
  return int(std::ranges::count_if(fates_, [](const auto& fate) { return !fate.expired(); }));
}

}  // namespace sonmere
