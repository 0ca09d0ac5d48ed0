#include "platform/lv2/Lv2Effect.h"

#include <fmt/format.h>
#include <lv2/atom/atom.h>
#include <lv2/core/lv2.h>

#include <algorithm>
#include <cstring>

namespace sonmere {

namespace {

constexpr const char* kStateURI = "urn:sonmere:state";

std::unexpected<Error> refuse(std::string text) {
  return std::unexpected(Error{"Plugins", 20, std::move(text)});
}

}  // namespace

Lv2Effect::Lv2Effect(std::shared_ptr<Lv2World> world, const LilvPlugin* plugin, double sampleRate)
    : world_(std::move(world)),
      plugin_(plugin),
      sampleRate_(sampleRate),
      ports_(Lv2Ports::of(*world_, plugin, sampleRate)),
      sequence_(world_->urids().map(LV2_ATOM__Sequence)),
      chunk_(world_->urids().map(LV2_ATOM__Chunk)),
      real_(world_->urids().map(LV2_ATOM__Float)),
      wanted_(ports_.controls.size()),
      middle_(kMaxPluginFrames) {
  for (std::size_t i = 0; i < wanted_.size(); ++i) wanted_[i] = ports_.controls[i].initial;
  if (!lilv_plugin_has_latency(plugin)) return;
  const auto meter = std::ranges::find(ports_.meters, lilv_plugin_get_latency_port_index(plugin));
  if (meter != ports_.meters.end()) latencyMeter_ = int(meter - ports_.meters.begin());
}

Lv2Effect::~Lv2Effect() {
  for (Voice& voice : voices_) {
    // Its thread works on the instance.
    voice.worker.reset();
    if (voice.isActive) lilv_instance_deactivate(voice.instance.get());
  }
}

bool Lv2Effect::addVoice(const std::string& scratch) {
  Voice voice;
  voice.worker = std::make_unique<Lv2Worker>();
  voice.features = std::make_unique<Lv2Features>(world_->urids(), sampleRate_, voice.worker->schedule(),
                                                 fmt::format("{}/{}", scratch, voices_.size()));
  voice.instance.reset(lilv_plugin_instantiate(plugin_, sampleRate_, voice.features->list()));
  if (!voice.instance) return false;
  voice.controls.resize(ports_.controls.size());
  voice.meters.resize(ports_.meters.size());
  voice.silence.resize(kMaxPluginFrames);
  voice.waste.resize(kMaxPluginFrames);
  for (const auto& event : ports_.events) voice.events.emplace_back(event.bytes + sizeof(LV2_Atom_Sequence));
  connect(voice);
  voices_.push_back(std::move(voice));
  return true;
}

void Lv2Effect::connect(Voice& voice) {
  const auto to = [&](std::uint32_t port, void* place) {
    lilv_instance_connect_port(voice.instance.get(), port, place);
  };
  for (std::size_t i = 0; i < ports_.controls.size(); ++i) {
    voice.controls[i] = wanted_[i];
    to(ports_.controls[i].index, &voice.controls[i]);
  }
  for (std::size_t i = 0; i < ports_.meters.size(); ++i) to(ports_.meters[i], &voice.meters[i]);
  for (std::size_t i = 0; i < ports_.events.size(); ++i) to(ports_.events[i].index, voice.events[i].data());
  for (const std::uint32_t port : ports_.voltageInputs) to(port, voice.silence.data());
  for (const std::uint32_t port : ports_.voltageOutputs) to(port, voice.waste.data());
  for (const std::uint32_t port : ports_.audioInputs) to(port, voice.silence.data());
  for (const std::uint32_t port : ports_.audioOutputs) to(port, voice.waste.data());
  for (const std::uint32_t port : ports_.others) to(port, nullptr);
  resetEvents(voice);
}

Outcome<std::shared_ptr<Effect>> Lv2Effect::make(std::shared_ptr<Lv2World> world, const std::string& id,
                                                 double sampleRate, const std::string& state,
                                                 const std::string& scratch) {
  const LilvPlugin* plugin = world->find(id);
  if (!plugin) return refuse(fmt::format("there is no plug-in \"{}\"", id));
  if (const std::string obstacle = world->describe(plugin).obstacle; !obstacle.empty())
    return refuse(obstacle);
  std::shared_ptr<Lv2Effect> made(new Lv2Effect(std::move(world), plugin, sampleRate));
  for (int voice = 0; voice < (made->isSingle() ? 2 : 1); ++voice)
    if (!made->addVoice(scratch)) return refuse("it does not start");
  for (Voice& voice : made->voices_) voice.worker->attach(voice.instance.get());
  if (const auto restored = made->restore(state); !restored) return std::unexpected(restored.error());
  for (Voice& voice : made->voices_) {
    lilv_instance_activate(voice.instance.get());
    voice.isActive = true;
  }
  return made;
}

// State.

Outcome<void> Lv2Effect::restore(const std::string& text) {
  LilvWorld* const world = world_->get();
  LV2_URID_Map* const map = world_->urids().mapFeature();
  if (text.empty()) {
    const LilvOwner<LilvState> initial(lilv_state_new_from_world(world, map, lilv_plugin_get_uri(plugin_)));
    if (initial && lilv_plugin_has_feature(plugin_, world_->uri(LV2_STATE__loadDefaultState).get()))
      restore(initial.get());
    return {};
  }
  const LilvOwner<LilvState> state(lilv_state_new_from_string(world, map, text.c_str()));
  const LilvNode* const owner = state ? lilv_state_get_plugin_uri(state.get()) : nullptr;
  if (!owner) return refuse("its state can't be read");
  if (!lilv_node_equals(owner, lilv_plugin_get_uri(plugin_)))
    return refuse(fmt::format("its state is that of \"{}\"", lilv_node_as_string(owner)));
  restore(state.get());
  return {};
}

void Lv2Effect::restore(const LilvState* state) {
  const auto set = [](const char* symbol, void* self, const void* value, std::uint32_t bytes, LV2_URID type) {
    auto& effect = *static_cast<Lv2Effect*>(self);
    float number = 0;
    if (bytes != sizeof number || type != effect.real_) return;
    std::memcpy(&number, value, sizeof number);
    effect.setControl(symbol, number);
  };
  for (Voice& voice : voices_)
    lilv_state_restore(state, voice.instance.get(), set, this, 0, voice.features->list());
}

Outcome<std::string> Lv2Effect::fullState() const {
  struct Reading {
    const Lv2Effect& effect;
    std::vector<float> values;
  } reading{*this, {}};
  for (const auto& value : wanted_) reading.values.push_back(value);
  const auto get = [](const char* symbol, void* data, std::uint32_t* bytes,
                      std::uint32_t* type) -> const void* {
    const auto& from = *static_cast<Reading*>(data);
    const Lv2Ports::Control* control = from.effect.find(symbol);
    *bytes = control ? sizeof(float) : 0;
    *type = control ? from.effect.real_ : 0;
    return control ? &from.values[std::size_t(control - from.effect.ports_.controls.data())] : nullptr;
  };
  LilvWorld* const world = world_->get();
  UridMap& urids = world_->urids();
  const Voice& voice = voices_.front();
  const LilvOwner<LilvState> state(lilv_state_new_from_instance(
      plugin_, voice.instance.get(), urids.mapFeature(), voice.features->scratch().c_str(), nullptr, nullptr,
      nullptr, get, &reading, LV2_STATE_IS_POD | LV2_STATE_IS_PORTABLE, voice.features->list()));
  if (!state) return refuse("its state can't be saved");
  char* const text =
      lilv_state_to_string(world, urids.mapFeature(), urids.unmapFeature(), state.get(), kStateURI, nullptr);
  if (!text) return refuse("its state can't be written");
  const std::string kept = text;
  lilv_free(text);
  return kept;
}

EffectValues Lv2Effect::values() const {
  EffectValues all;
  for (std::size_t i = 0; i < wanted_.size(); ++i) all[ports_.controls[i].symbol] = wanted_[i];
  return all;
}

const Lv2Ports::Control* Lv2Effect::find(const std::string& symbol) const {
  const auto found = std::ranges::find(ports_.controls, symbol, &Lv2Ports::Control::symbol);
  return found == ports_.controls.end() ? nullptr : &*found;
}

bool Lv2Effect::setControl(const std::string& symbol, float value) {
  const Lv2Ports::Control* control = find(symbol);
  if (!control) return false;
  wanted_[std::size_t(control - ports_.controls.data())] =
      std::clamp(value, control->minimum, control->maximum);
  return true;
}

// Sound.

double Lv2Effect::latency() const noexcept { return double(latencyFrames_.load()) / sampleRate_; }

// An input is an empty list of events; an output says how much room there is.
void Lv2Effect::resetEvents(Voice& voice) noexcept {
  for (std::size_t i = 0; i < ports_.events.size(); ++i) {
    LV2_Atom_Sequence header{};
    const bool isInput = ports_.events[i].isInput;
    header.atom.type = isInput ? sequence_ : chunk_;
    header.atom.size =
        isInput ? std::uint32_t(sizeof(LV2_Atom_Sequence_Body)) : std::uint32_t(ports_.events[i].bytes);
    std::memcpy(voice.events[i].data(), &header, sizeof header);
  }
}

void Lv2Effect::connectAudio(Voice& voice, std::size_t side, std::uint32_t frames,
                             const float* const input[2], float* const output[2]) noexcept {
  const auto to = [&](std::uint32_t port, const float* plane) {
    lilv_instance_connect_port(voice.instance.get(), port, const_cast<float*>(plane));
  };
  if (isSingle()) {
    to(ports_.audioInputs[0], input[side]);
    return to(ports_.audioOutputs[0], output[side]);
  }
  if (ports_.audioInputs.size() == 1) {
    for (std::uint32_t i = 0; i < frames; ++i) middle_[i] = 0.5f * (input[0][i] + input[1][i]);
    to(ports_.audioInputs[0], middle_.data());
  } else {
    for (std::size_t i = 0; i < 2; ++i) to(ports_.audioInputs[i], input[i]);
  }
  for (std::size_t i = 0; i < std::min<std::size_t>(2, ports_.audioOutputs.size()); ++i)
    to(ports_.audioOutputs[i], output[i]);
}

void Lv2Effect::run(Voice& voice, std::uint32_t frames) noexcept {
  for (std::size_t i = 0; i < voice.controls.size(); ++i) voice.controls[i] = wanted_[i];
  resetEvents(voice);
  lilv_instance_run(voice.instance.get(), frames);
  voice.worker->deliver();
}

OSStatus Lv2Effect::render(double, std::uint32_t frames, const float* const input[2],
                           float* const output[2]) noexcept SONMERE_NONBLOCKING {
  for (std::size_t side = 0; side < voices_.size(); ++side) {
    connectAudio(voices_[side], side, frames, input, output);
    run(voices_[side], frames);
  }
  if (ports_.audioOutputs.size() == 1 && !isSingle()) std::copy_n(output[0], frames, output[1]);
  if (latencyMeter_ >= 0) latencyFrames_ = voices_.front().meters[std::size_t(latencyMeter_)];
  return noErr;
}

}  // namespace sonmere
