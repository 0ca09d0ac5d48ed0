#include "audio/effects/EffectIntake.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

namespace sonmere {

namespace {

constexpr const char* kTrialsKey = "sonmere.pluginTrials";

std::unexpected<Error> refuse(std::string text) {
  return std::unexpected(Error{"Plugins", 2, std::move(text)});
}

nlohmann::json readTrials(const SettingsStore& settings) {
  const auto text = settings.data(kTrialsKey);
  auto trials = text ? nlohmann::json::parse(*text, nullptr, false) : nlohmann::json::object();
  return trials.is_object() ? trials : nlohmann::json::object();
}

std::string member(const nlohmann::json& object, const char* name) {
  const auto found = object.find(name);
  return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

std::string nameOf(const AvailableEffect& effect) { return effect.name.empty() ? effect.id : effect.name; }

}  // namespace

void EffectIntake::describe(const std::string& id, Admitted done) {
  if (!host_) return done(refuse("this system hosts no plug-ins"));
  const auto known = known_.find(id);
  if (known != known_.end() && host_->fileStamp(known->second.effect) == known->second.effect.fileStamp)
    return done(known->second);
  host_->describe(id,
                  lifetime_.guard([this, id, done = std::move(done)](const Outcome<EffectDetails>& details) {
                    if (details) known_[id] = *details;
                    done(details);
                  }));
}

void EffectIntake::admit(const std::string& id, Admitted done) {
  describe(id, [this, done = std::move(done)](Outcome<EffectDetails> details) {
    if (!details) return done(std::move(details));
    const AvailableEffect& effect = details->effect;
    if (!effect.obstacle.empty())
      return done(refuse(fmt::format("\"{}\" can't be hosted: {}", nameOf(effect), effect.obstacle)));
    judge(*details, done);
  });
}

std::optional<std::string> EffectIntake::verdict(const AvailableEffect& effect) const {
  const auto trials = readTrials(settings_);
  const auto found = trials.find(effect.id);
  if (found == trials.end() || !found->is_object()) return std::nullopt;
  if (effect.fileStamp.empty() || member(*found, "stamp") != effect.fileStamp) return std::nullopt;
  return member(*found, "refusal");
}

void EffectIntake::judge(const EffectDetails& details, Admitted done) {
  const AvailableEffect& effect = details.effect;
  if (effect.fileStamp.empty())
    return done(refuse(fmt::format("the file of \"{}\" is gone: {}", nameOf(effect), effect.file)));
  const auto answer = [details, done](const std::string& refusal) {
    if (refusal.empty()) return done(details);
    done(refuse(fmt::format("\"{}\" was refused when it was tried: {}", nameOf(details.effect), refusal)));
  };
  if (const auto known = verdict(effect)) return answer(*known);
  host_->test(effect.id, lifetime_.guard(
                             [this, answer, done, effect](const Outcome<std::optional<std::string>>& result) {
                               if (!result) return done(std::unexpected(result.error()));
                               remember(effect.id, effect.fileStamp, result->value_or(""));
                               answer(result->value_or(""));
                             }));
}

void EffectIntake::remember(const std::string& id, const std::string& stamp, const std::string& refusal) {
  auto trials = readTrials(settings_);
  trials[id] = {{"stamp", stamp}, {"refusal", refusal}};
  settings_.set(kTrialsKey,
                SettingsData{trials.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace)});
}

void EffectIntake::forget(const std::string& id) {
  auto trials = readTrials(settings_);
  if (trials.erase(id) == 0) return;
  settings_.set(kTrialsKey,
                SettingsData{trials.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace)});
}

}  // namespace sonmere
