#include "platform/simulated/SimulatedEffect.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

namespace sonmere {

namespace {

using Kind = SimulatedEffect::Kind;

struct Description {
  Kind kind;
  const char* id;
  const char* name;
  const char* trouble;  // the control that brings it; null for none
};

constexpr std::array kEffects{
    Description{Kind::gain, "urn:sonmere:gain", "Gain", nullptr},
    Description{Kind::delay, "urn:sonmere:delay", "Delay", nullptr},
    Description{Kind::failing, "urn:sonmere:failing", "Failing", "fail"},
    Description{Kind::crashing, "urn:sonmere:crashing", "Crashing", "crash"},
    Description{Kind::hanging, "urn:sonmere:hanging", "Hanging", "hang"},
    Description{Kind::allocating, "urn:sonmere:allocating", "Allocating", "allocate"},
    Description{Kind::brittle, "urn:sonmere:brittle", "Brittle", nullptr},
    Description{Kind::unclean, "urn:sonmere:unclean", "Unclean", nullptr},
};

constexpr float kLeastGain = -90, kMostGain = 24;  // dB
constexpr float kLongestDelay = 0.05f;             // s
constexpr int kStateVersion = 1;
constexpr OSStatus kFailure = -1;

std::atomic<int> livingEffects{0};

const Description& described(Kind kind) { return *std::ranges::find(kEffects, kind, &Description::kind); }

EffectControl control(const char* symbol, const char* name, const char* unit, float least, float most,
                      float initial) {
  EffectControl made;
  made.symbol = symbol;
  made.name = name;
  made.unit = unit;
  made.minimum = least;
  made.maximum = most;
  made.initial = initial;
  return made;
}

EffectDetails detailsOf(const Description& description) {
  EffectDetails details;
  details.effect = {description.id, description.name, "Sonmere", "Simulation", description.id, "1", ""};
  details.controls.push_back(control("gain", "Gain", "dB", kLeastGain, kMostGain, 0));
  if (description.kind == Kind::delay)
    details.controls.push_back(control("time", "Time", "s", 0, kLongestDelay, 0));
  if (description.trouble) {
    details.controls.push_back(control(description.trouble, description.name, "", 0, 1, 0));
    details.controls.back().isToggle = true;
  }
  if (description.kind == Kind::gain) details.presets = {{"urn:sonmere:gain#half", "Half"}};
  return details;
}

}  // namespace

std::vector<EffectDetails> SimulatedEffect::all() {
  std::vector<EffectDetails> all;
  for (const Description& each : kEffects) all.push_back(detailsOf(each));
  return all;
}

std::optional<Kind> SimulatedEffect::kindOf(std::string_view id) {
  const auto found =
      std::ranges::find(kEffects, id, [](const Description& d) { return std::string_view(d.id); });
  return found == kEffects.end() ? std::nullopt : std::optional(found->kind);
}

int SimulatedEffect::living() noexcept { return livingEffects; }

SimulatedEffect::SimulatedEffect(Kind kind, double sampleRate, SimulatedFate* fate)
    : kind_(kind),
      sampleRate_(sampleRate),
      fate_(fate),
      line_(kind == Kind::delay ? 2 * std::size_t(kLongestDelay * sampleRate + 1) : 0) {
  ++livingEffects;
}

SimulatedEffect::~SimulatedEffect() { --livingEffects; }

Outcome<std::shared_ptr<Effect>> SimulatedEffect::make(Kind kind, double sampleRate, const std::string& state,
                                                       SimulatedFate* fate) {
  std::shared_ptr<SimulatedEffect> made(new SimulatedEffect(kind, sampleRate, fate));
  if (!state.empty() && !made->readState(state))
    return std::unexpected(Error{"Plugins", 10, "its state is of another version, or damaged"});
  return made;
}

bool SimulatedEffect::readState(const std::string& state) {
  const auto json = nlohmann::json::parse(state, nullptr, false);
  if (!json.is_object() || json.value("version", nlohmann::json()) != kStateVersion) return false;
  const auto values = json.find("values");
  if (values == json.end() || !values->is_object()) return false;
  for (const auto& [symbol, value] : values->items())
    if (value.is_number()) setControl(symbol, value.get<float>());
  return true;
}

Outcome<std::string> SimulatedEffect::fullState() const {
  return nlohmann::json{{"version", kStateVersion}, {"values", values()}}.dump();
}

EffectValues SimulatedEffect::values() const {
  EffectValues all{{"gain", gain_}};
  if (kind_ == Kind::delay) all["time"] = time_;
  if (const char* symbol = described(kind_).trouble) all[symbol] = trouble_;
  return all;
}

bool SimulatedEffect::setControl(const std::string& symbol, float value) {
  const char* const trouble = described(kind_).trouble;
  if (symbol == "gain")
    gain_ = std::clamp(value, kLeastGain, kMostGain);
  else if (symbol == "time" && kind_ == Kind::delay)
    time_ = std::clamp(value, 0.0f, kLongestDelay);
  else if (trouble && symbol == trouble)
    trouble_ = std::clamp(value, 0.0f, 1.0f);
  else
    return false;
  return true;
}

double SimulatedEffect::latency() const noexcept { return double(time_.load()); }

OSStatus SimulatedEffect::suffer(SimulatedFate::Kind kind) noexcept {
  if (fate_) fate_->kind = kind;
  return kFailure;
}

OSStatus SimulatedEffect::trouble() noexcept {
  if (kind_ == Kind::brittle) return suffer(SimulatedFate::Kind::crashed);
  if (trouble_ < 0.5f) return noErr;
  if (kind_ == Kind::crashing) return suffer(SimulatedFate::Kind::crashed);
  if (kind_ == Kind::hanging) return suffer(SimulatedFate::Kind::hangs);
  if (kind_ == Kind::allocating) delete[] new (std::nothrow) volatile char[64];
  return kind_ == Kind::failing ? kFailure : noErr;
}

OSStatus SimulatedEffect::render(double, std::uint32_t frames, const float* const input[2],
                                 float* const output[2]) noexcept SONMERE_NONBLOCKING {
  if (const OSStatus status = trouble(); status != noErr) return status;
  const float factor = kind_ == Kind::unclean ? std::numeric_limits<float>::quiet_NaN()
                                              : std::pow(10.0f, gain_.load() / 20.0f);
  for (int side = 0; side < 2; ++side)
    for (std::uint32_t i = 0; i < frames; ++i) output[side][i] = input[side][i] * factor;
  if (kind_ == Kind::delay) delay(frames, output);
  return noErr;
}

void SimulatedEffect::delay(std::uint32_t frames, float* const output[2]) noexcept {
  const std::size_t room = line_.size() / 2;
  const auto behind = std::size_t(double(time_.load()) * sampleRate_);
  for (std::uint32_t i = 0; i < frames; ++i, at_ = (at_ + 1) % room)
    for (std::size_t side = 0; side < 2; ++side) {
      float* const plane = line_.data() + side * room;
      plane[at_] = output[side][i];
      output[side][i] = plane[(at_ + room - behind) % room];
    }
}

}  // namespace sonmere
