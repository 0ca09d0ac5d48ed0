#include "input/MicExtras.h"

#include <algorithm>
#include <cmath>

#include "base/UUID.h"
#include "dsp/EffectSettingsCodec.h"

namespace sonmere {

namespace {

constexpr const char* kSourcesPrefix = "sonmere.mic.extraSources.";
constexpr const char* kEQPrefix = "sonmere.appEQSettings.__micextra__";
constexpr Duration kPersistDelay = fromMilliseconds(500);

// What a stranger may have written into the settings.
MicExtraSource held(MicExtraSource source) {
  source.channel = std::max(source.channel, 0);
  source.gain = std::isfinite(source.gain) ? std::clamp(source.gain, 0.0f, MicExtraSource::kMaxGain) : 1.0f;
  source.pan = std::isfinite(source.pan) ? std::clamp(source.pan, -1.0f, 1.0f) : 0.0f;
  return source;
}

}  // namespace

MicExtras::MicExtras(EngineContext& context, std::shared_ptr<MicRenderState> state)
    : context_(context), state_(std::move(state)) {}

MicExtras::~MicExtras() {
  if (isUnstored_) store();
}

void MicExtras::load(const std::string& deviceUID) {
  if (isUnstored_) store();
  deviceUID_ = deviceUID;
  std::vector<MicExtraSource> sources;
  if (const auto json = context_.settings.data(kSourcesPrefix + deviceUID))
    sources = decodeExtraSources(*json).value_or(sources);
  std::ranges::transform(sources, sources.begin(), held);
  extraSources.set(std::move(sources));
  publish();
}

void MicExtras::setCaptureRate(double rate) {
  captureRate_ = rate;
  publish();
}

void MicExtras::changed() {
  publish();
  isUnstored_ = true;
  persistExtraDebounce_ = context_.runtime.mainQueue().postAfter(kPersistDelay, [this] { store(); });
}

void MicExtras::store() {
  isUnstored_ = false;
  context_.settings.set(kSourcesPrefix + deviceUID_, SettingsData{encodeExtraSources(*extraSources)});
}

std::string MicExtras::add(const std::string& label, int channel) {
  const std::string id = makeUUID(context_.runtime);
  extraSources.update([&](auto& all) { all.push_back(held({id, label, channel})); });
  changed();
  return id;
}

bool MicExtras::remove(const std::string& id) {
  const auto before = extraSources->size();
  extraSources.update(
      [&](auto& all) { std::erase_if(all, [&](const auto& each) { return each.id == id; }); });
  if (extraSources->size() == before) return false;
  context_.settings.remove(kEQPrefix + id);
  changed();
  return true;
}

bool MicExtras::change(const MicExtraSource& source) {
  if (std::ranges::find(*extraSources, source.id, &MicExtraSource::id) == extraSources->end()) return false;
  extraSources.update(
      [&](auto& all) { *std::ranges::find(all, source.id, &MicExtraSource::id) = held(source); });
  changed();
  return true;
}

AppEQSettings MicExtras::equaliserOf(const std::string& id) const {
  if (const auto json = context_.settings.data(kEQPrefix + id))
    if (const auto settings = decodeJSON<AppEQSettings>(*json)) return *settings;
  return {};
}

bool MicExtras::setEqualiser(const std::string& id, const AppEQSettings& settings) {
  if (std::ranges::find(*extraSources, id, &MicExtraSource::id) == extraSources->end()) return false;
  context_.settings.set(kEQPrefix + id, SettingsData{encodeJSON(settings)});
  publish();
  return true;
}

void MicExtras::setRecorderRing(const std::string& id, std::shared_ptr<RecorderRing> ring) {
  if (ring)
    extraRecordersBySourceID_[id] = std::move(ring);
  else
    extraRecordersBySourceID_.erase(id);
  publish();
}

float MicExtras::level(const std::string& id) const {
  const auto slot = slots_.find(id);
  return slot == slots_.end() ? 0.0f : state_->extraSlots.levels[std::size_t(slot->second)].load();
}

// Sources keep their slot; new ones take what is free, in the order of the list. A slot taken afresh begins
// at rest.
void MicExtras::assignSlots() {
  std::map<std::string, int> kept;
  for (const MicExtraSource& source : *extraSources)
    if (const auto slot = slots_.find(source.id); slot != slots_.end()) kept.insert(*slot);
  const auto isFree = [&](int slot) {
    return std::ranges::none_of(kept, [slot](const auto& each) { return each.second == slot; });
  };
  for (int slot = 0; slot < kExtraMeterSlots; ++slot)
    if (isFree(slot)) state_->extraSlots.levels[std::size_t(slot)] = 0.0f;
  for (const MicExtraSource& source : *extraSources) {
    if (kept.contains(source.id)) continue;
    for (int slot = 0; slot < kExtraMeterSlots; ++slot)
      if (isFree(slot)) {
        kept[source.id] = slot;
        state_->extraSlots.freshSlots[std::size_t(slot)] = true;
        break;
      }
  }
  slots_ = std::move(kept);
}

void MicExtras::publish() {
  assignSlots();
  const double rate = captureRate_ > 0 ? captureRate_ : 48000;
  auto list = std::make_shared<ExtraSources>();
  for (const MicExtraSource& source : *extraSources) {
    const AppEQSettings equaliser = equaliserOf(source.id);
    const auto slot = slots_.find(source.id);
    const auto recorder = extraRecordersBySourceID_.find(source.id);
    const auto [panL, panR] = panGains(source.pan);
    list->push_back({source.channel, source.channel, source.gain, source.isMuted,
                     slot == slots_.end() ? -1 : slot->second, equaliser.isEnabled,
                     coefficients(equaliser, rate), panL, panR,
                     recorder == extraRecordersBySourceID_.end() ? nullptr : recorder->second});
  }
  state_->extraSources.publish(std::move(list), context_.rendering.retirement, kSnapshotGrace);
}

}  // namespace sonmere
