#include "platform/effects/Lv2EffectsHost.h"

#include <fmt/format.h>

#include <cstdlib>

#include "audio/effects/EffectOrder.h"
#include "platform/effects/HelperCodec.h"
#include "platform/effects/ProcessChainHelper.h"
#include "platform/lv2/Lv2Effect.h"

namespace sonmere {

namespace {

// The first reading of some hundred plug-ins takes its time on a slow machine; a plug-in that is tried has
// it.
constexpr Duration kListLimit = std::chrono::minutes(5), kTrialLimit = std::chrono::seconds(30),
                   kReadLimit = std::chrono::seconds(30);

std::unexpected<Error> fail(std::string text) {
  return std::unexpected(Error{"Plugins", 33, std::move(text)});
}

std::string folder(const char* variable, const char* standard) {
  const char* const given = std::getenv(variable);
  if (given && *given == '/') return given;
  const char* const home = std::getenv("HOME");
  return std::string(home ? home : "") + standard;
}

// The answer's object; an error in it is an error.
Outcome<HelperJSON> parse(const Outcome<HelperProgram::Answer>& answer) {
  if (!answer) return fail("the process that reads plug-ins " + answer.error().description);
  if (!answer->end.empty()) return fail(fmt::format("the process that reads plug-ins {}", answer->end));
  HelperJSON json = HelperJSON::parse(answer->text, nullptr, false);
  if (!json.is_object()) return fail("the process that reads plug-ins does not speak as it should");
  if (const auto error = json.find("error"); error != json.end() && error->is_string())
    return fail(error->get<std::string>());
  return json;
}

}  // namespace

Lv2EffectsHost::Options Lv2EffectsHost::standardOptions() {
  return {{},
          folder("XDG_CACHE_HOME", "/.cache") + "/sonmere/plug-ins.json",
          folder("XDG_STATE_HOME", "/.local/state") + "/sonmere/plug-in-files"};
}

Lv2EffectsHost::Lv2EffectsHost(Runtime& runtime, Log& log, Options options)
    : runtime_(runtime),
      log_(log),
      options_(std::move(options)),
      program_(std::make_shared<HelperProgram>(options_.helper)) {}

Lv2EffectsHost::~Lv2EffectsHost() { program_->stopAsking(); }

void Lv2EffectsHost::ask(std::vector<std::string> arguments, Duration limit, Answered answered) {
  runtime_.globalQueue().post([program = program_, arguments = std::move(arguments), limit,
                               &mainQueue = runtime_.mainQueue(),
                               answered = lifetime_.guard(std::move(answered))] {
    auto answer = program->ask(arguments, limit);
    mainQueue.post([answered, answer = std::move(answer)] { answered(answer); });
  });
}

void Lv2EffectsHost::availableEffects(Listed completion) {
  ask({"list", options_.cache}, kListLimit,
      [completion = std::move(completion)](const Outcome<HelperProgram::Answer>& answer) {
        const auto json = parse(answer);
        if (!json) return completion(std::unexpected(json.error()));
        std::vector<AvailableEffect> all;
        for (const HelperJSON& each : json->value("effects", HelperJSON::array()))
          if (auto effect = decodeHelper<AvailableEffect>(each)) all.push_back(std::move(*effect));
        sortEffects(all);
        completion(std::move(all));
      });
}

void Lv2EffectsHost::describe(const std::string& id, Described completion) {
  ask({"describe", id}, kReadLimit,
      [completion = std::move(completion)](const Outcome<HelperProgram::Answer>& answer) {
        const auto json = parse(answer);
        if (!json) return completion(std::unexpected(json.error()));
        auto details = decodeHelper<EffectDetails>(json->value("details", HelperJSON()));
        if (!details) return completion(fail("its description can't be read"));
        completion(std::move(*details));
      });
}

void Lv2EffectsHost::presetState(const std::string& id, const std::string& preset, PresetRead completion) {
  ask({"preset", id, preset}, kReadLimit,
      [completion = std::move(completion)](const Outcome<HelperProgram::Answer>& answer) {
        const auto json = parse(answer);
        if (!json) return completion(std::unexpected(json.error()));
        completion(json->value("state", std::string()));
      });
}

std::string Lv2EffectsHost::fileStamp(const AvailableEffect& effect) {
  return Lv2World::stampOf(effect.file);
}

Outcome<std::shared_ptr<Effect>> Lv2EffectsHost::instantiate(const std::string& id, double sampleRate,
                                                             const std::string& state) {
  if (!world_) world_ = std::make_shared<Lv2World>();
  return Lv2Effect::make(world_, id, sampleRate, state, options_.scratch);
}

Outcome<std::unique_ptr<ChainHelper>> Lv2EffectsHost::startHelper() {
  if (!watcher_) {
    auto made = FileDescriptorWatcher::create(runtime_.mainQueue());
    if (!made) return std::unexpected(made.error());
    watcher_ = std::move(*made);
  }
  return ProcessChainHelper::start(*program_, runtime_.mainQueue(), *watcher_, log_);
}

void Lv2EffectsHost::test(const std::string& id, Tested completion) {
  ask({"try", id}, kTrialLimit,
      [completion = std::move(completion)](const Outcome<HelperProgram::Answer>& answer) {
        if (!answer) return completion(std::unexpected(answer.error()));
        if (!answer->end.empty()) return completion("it " + answer->end);
        const auto json = parse(answer);
        if (!json) return completion(json.error().description);
        const std::string refusal = json->value("refusal", std::string());
        completion(refusal.empty() ? std::nullopt : std::optional(refusal));
      });
}

}  // namespace sonmere
