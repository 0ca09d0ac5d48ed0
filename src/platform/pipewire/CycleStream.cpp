#include "platform/pipewire/CycleStream.h"

#include <fmt/format.h>
#include <pipewire/pipewire.h>
#include <spa/debug/types.h>
#include <spa/param/audio/format-utils.h>
#include <spa/param/audio/type-info.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/FlushToZero.h"
#include "base/RealtimeScope.h"
#include "platform/desktop/DesktopApplications.h"

namespace sonmere {

namespace {

using Kind = CycleStreamPlan::Kind;

bool takes(Kind kind) { return kind != Kind::playback; }

std::uint32_t channelNumber(const std::string& name) {
  const std::uint32_t value = spa_debug_type_find_type_short(spa_type_audio_channel, name.c_str());
  return value == SPA_ID_INVALID ? std::uint32_t(SPA_AUDIO_CHANNEL_UNKNOWN) : value;
}

std::vector<std::string> usualPositions(std::uint32_t channels) {
  if (channels == 1) return {"MONO"};
  if (channels == 2) return {"FL", "FR"};
  std::vector<std::string> positions;
  for (std::uint32_t i = 0; i < channels; ++i) positions.push_back(fmt::format("AUX{}", i));
  return positions;
}

spa_audio_info_raw formatOf(const CycleStreamPlan& plan) {
  spa_audio_info_raw info{};
  info.format = SPA_AUDIO_FORMAT_F32;
  info.rate = std::uint32_t(std::lround(plan.format.sampleRate));
  info.channels = plan.format.channels;
  const auto positions = plan.positions.empty() ? usualPositions(plan.format.channels) : plan.positions;
  for (std::size_t i = 0; i < std::min<std::size_t>(positions.size(), SPA_AUDIO_MAX_CHANNELS); ++i)
    info.position[i] = channelNumber(positions[i]);
  return info;
}

std::string latencyOf(const CycleStreamPlan& plan) {
  return fmt::format("{}/{}", plan.latencyFrames, std::lround(plan.format.sampleRate));
}

pw_properties* propertiesOf(const CycleStreamPlan& plan) {
  pw_properties* properties = pw_properties_new(
      PW_KEY_NODE_NAME, plan.name.c_str(), PW_KEY_NODE_DESCRIPTION, plan.description.c_str(),
      PW_KEY_MEDIA_NAME, plan.description.c_str(), PW_KEY_APP_NAME, "Sonmere", PW_KEY_APP_ID,
      kOwnBundleID.data(), PW_KEY_APP_ICON_NAME, kOwnBundleID.data(), PW_KEY_DEVICE_ICON_NAME,
      kOwnBundleID.data(), PW_KEY_MEDIA_TYPE, "Audio", "state.restore-props", "false", "state.restore-target",
      "false", GraphNode::kPartProperty, plan.name.c_str(), nullptr);
  if (!plan.group.empty()) pw_properties_set(properties, PW_KEY_NODE_GROUP, plan.group.c_str());
  switch (plan.kind) {
    case Kind::sink:
      pw_properties_set(properties, PW_KEY_MEDIA_CLASS, "Audio/Sink/Internal");
      // Session managers that suspend idle devices may die of one that has gone before its time.
      pw_properties_set(properties, "session.suspend-timeout-seconds", "0");
      break;
    case Kind::waiting:
      pw_properties_set(properties, PW_KEY_MEDIA_CLASS, "Audio/Sink");
      pw_properties_set(properties, "session.suspend-timeout-seconds", "0");
      // Nobody's default, nobody's clock, and no reason for the session to go without a device of its own.
      pw_properties_set(properties, PW_KEY_PRIORITY_SESSION, "-1000");
      pw_properties_set(properties, PW_KEY_PRIORITY_DRIVER, "0");
      pw_properties_set(properties, "wireplumber.is-fallback", "true");
      break;
    case Kind::listener:
      pw_properties_set(properties, PW_KEY_MEDIA_CATEGORY, "Capture");
      break;
    case Kind::capture:
      pw_properties_set(properties, PW_KEY_MEDIA_CATEGORY, "Capture");
      break;
    case Kind::playback:
      pw_properties_set(properties, PW_KEY_MEDIA_CATEGORY, "Playback");
      break;
  }
  if (!plan.target.empty()) {
    pw_properties_set(properties, PW_KEY_TARGET_OBJECT, plan.target.c_str());
    pw_properties_set(properties, PW_KEY_NODE_DONT_RECONNECT, "true");
  }
  if (plan.format.channels > 2) pw_properties_set(properties, "stream.dont-remix", "true");
  if (plan.latencyFrames > 0) pw_properties_set(properties, PW_KEY_NODE_LATENCY, latencyOf(plan).c_str());
  return properties;
}

std::uint32_t flagsOf(Kind kind) {
  const std::uint32_t flags = PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_RT_PROCESS;
  if (kind == Kind::waiting) return flags | PW_STREAM_FLAG_DRIVER;
  const bool isForADevice = kind == Kind::capture || kind == Kind::playback;
  return isForADevice ? flags | PW_STREAM_FLAG_AUTOCONNECT : flags;
}

}  // namespace

struct CycleStream::Hooks {
  CycleStream* stream;
  pw_stream* handle;
  spa_hook listener{};

  ~Hooks() {
    spa_hook_remove(&listener);
    pw_stream_destroy(handle);
  }
  static void stateChanged(void* data, pw_stream_state, pw_stream_state state, const char*) {
    CycleStream& stream = *static_cast<Hooks*>(data)->stream;
    if (state != PW_STREAM_STATE_STREAMING) stream.clock_.pause();
    stream.loop_.wake();
  }
  static void processed(void* data) { static_cast<Hooks*>(data)->stream->process(); }
  static const pw_stream_events& events() {
    static const pw_stream_events kTable = [] {
      pw_stream_events table{};
      table.version = PW_VERSION_STREAM_EVENTS;
      table.state_changed = stateChanged;
      table.process = processed;
      return table;
    }();
    return kTable;
  }
};

CycleStream::CycleStream(PipeWireLoop& loop, CycleStreamPlan plan, Process callback, void* refcon)
    : loop_(loop), plan_(std::move(plan)), process_(callback), refcon_(refcon) {}

CycleStream::~CycleStream() {
  const PipeWireLoop::Lock lock(loop_);
  disconnect();
}

bool CycleStream::begin(pw_core* core) {
  pw_stream* handle = pw_stream_new(core, plan_.name.c_str(), propertiesOf(plan_));
  if (!handle) return false;
  hooks_ = std::make_unique<Hooks>(this, handle);
  pw_stream_add_listener(handle, &hooks_->listener, &Hooks::events(), hooks_.get());

  std::uint8_t space[1024];
  spa_pod_builder builder{};
  builder.data = space;
  builder.size = sizeof space;
  spa_audio_info_raw format = formatOf(plan_);
  const spa_pod* parameters[] = {spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &format)};
  const pw_direction direction = takes(plan_.kind) ? PW_DIRECTION_INPUT : PW_DIRECTION_OUTPUT;
  if (pw_stream_connect(handle, direction, PW_ID_ANY, pw_stream_flags(flagsOf(plan_.kind)), parameters, 1) <
      0)
    hooks_.reset();
  return hooks_ != nullptr;
}

OSStatus CycleStream::connect(pw_core* core, Duration timeout) {
  if (!core) return kAudioHardwareNotRunningError;
  if (!begin(core)) return kAudioHardwareUnspecifiedError;
  const auto state = [&] {
    return hooks_ ? pw_stream_get_state(hooks_->handle, nullptr) : PW_STREAM_STATE_ERROR;
  };
  loop_.waitUntil(
      [&] { return state() >= PW_STREAM_STATE_PAUSED || state() == PW_STREAM_STATE_ERROR || !hooks_; },
      timeout);
  if (state() >= PW_STREAM_STATE_PAUSED) return noErr;
  hooks_.reset();
  return kAudioHardwareNotRunningError;
}

bool CycleStream::hasGone() const {
  return !hooks_ || pw_stream_get_state(hooks_->handle, nullptr) <= PW_STREAM_STATE_UNCONNECTED;
}

void CycleStream::disconnect() { hooks_.reset(); }

void CycleStream::silence() {
  isSilenced_.store(true, std::memory_order_seq_cst);
  // The audio thread gets to this once a callback under way has ended.
  const auto nothing = [](spa_loop*, bool, std::uint32_t, const void*, std::size_t, void*) { return 0; };
  pw_data_loop_invoke(pw_context_get_data_loop(loop_.context()), nothing, 0, nullptr, 0, true, nullptr);
}

void CycleStream::resume(Process callback, void* refcon) {
  process_ = callback;
  refcon_ = refcon;
  isSilenced_.store(false, std::memory_order_seq_cst);
}

void CycleStream::setLatency(std::uint32_t frames) {
  plan_.latencyFrames = frames;
  if (!hooks_) return;
  const std::string latency = latencyOf(plan_);
  const spa_dict_item item{PW_KEY_NODE_LATENCY, latency.c_str()};
  const spa_dict properties{0, 1, &item};
  pw_stream_update_properties(hooks_->handle, &properties);
}

bool CycleStream::isConnected() const { return hooks_ != nullptr; }

std::optional<GlobalID> CycleStream::node() const {
  if (!hooks_) return std::nullopt;
  const std::uint32_t id = pw_stream_get_node_id(hooks_->handle);
  return id == SPA_ID_INVALID ? std::nullopt : std::optional<GlobalID>(id);
}

// The server's library is trusted to take no lock in the queue operations.
void CycleStream::process() noexcept {
  pw_buffer* buffer = pw_stream_dequeue_buffer(hooks_->handle);
  if (!buffer) return;
  const FlushToZero flush;
  const RealtimeScope scope;
  spa_data& data = buffer->buffer->datas[0];
  const std::uint32_t channels = plan_.format.channels;
  const std::uint32_t stride = channels * std::uint32_t(sizeof(float));
  Cycle cycle;
  cycle.channels = channels;
  pw_time time{};
  pw_stream_get_time_n(hooks_->handle, &time, sizeof time);
  if (takes(plan_.kind)) {
    const std::uint32_t offset = std::min(data.chunk->offset, data.maxsize);
    cycle.frames = std::min(data.chunk->size, data.maxsize - offset) / stride;
    cycle.samples = reinterpret_cast<float*>(static_cast<std::uint8_t*>(data.data) + offset);
  } else {
    cycle.frames = data.maxsize / stride;
    if (buffer->requested > 0)
      cycle.frames = std::uint32_t(std::min<std::uint64_t>(buffer->requested, cycle.frames));
    cycle.samples = static_cast<float*>(data.data);
  }
  const double seconds = double(time.ticks) * time.rate.num / std::max(time.rate.denom, 1u);
  cycle.now = {clock_.begin(seconds, cycle.frames, plan_.format.sampleRate), std::uint64_t(time.now)};
  const bool isSilenced = isSilenced_.load(std::memory_order_seq_cst);
  if (data.data && cycle.frames > 0 && !isSilenced) process_(refcon_, cycle);
  if (!takes(plan_.kind)) {
    data.chunk->offset = 0;
    data.chunk->stride = std::int32_t(stride);
    data.chunk->size = cycle.frames * stride;
  }
  cycleFrames_.store(cycle.frames, std::memory_order_relaxed);
  cycles_.store(cycles_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  pw_stream_queue_buffer(hooks_->handle, buffer);
}

}  // namespace sonmere
