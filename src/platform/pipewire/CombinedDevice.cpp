#include "platform/pipewire/CombinedDevice.h"

#include <fmt/format.h>
#include <pipewire/impl-module.h>
#include <pipewire/impl.h>
#include <pipewire/pipewire.h>
#include <spa/utils/hook.h>

#include <algorithm>

#include "platform/desktop/DesktopApplications.h"

namespace sonmere {

namespace {

constexpr Duration kAppearTimeout = std::chrono::seconds(2);

// Text of the server's configuration language.
std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') result += '\\';
    result += c;
  }
  return result + '"';
}

std::string joined(const std::vector<std::string>& positions) {
  return fmt::format("[ {} ]", fmt::join(positions, " "));
}

}  // namespace

// The module may go by itself, when its connection does.
struct CombinedDevice::Module {
  pw_impl_module* handle;
  spa_hook listener{};

  explicit Module(pw_impl_module* itsHandle) : handle(itsHandle) {
    static const pw_impl_module_events kEvents = [] {
      pw_impl_module_events events{};
      events.version = PW_VERSION_IMPL_MODULE_EVENTS;
      events.destroy = [](void* data) {
        auto* self = static_cast<Module*>(data);
        spa_hook_remove(&self->listener);
        self->handle = nullptr;
      };
      return events;
    }();
    pw_impl_module_add_listener(handle, &listener, &kEvents, this);
  }
  ~Module() {
    if (handle) pw_impl_module_destroy(handle);
  }
};

CombinedDevice::CombinedDevice(PipeWireServer& server, AggregateDescription description)
    : server_(server), description_(std::move(description)) {}

CombinedDevice::~CombinedDevice() {
  const PipeWireLoop::Lock lock(server_.loop());
  server_.remove(*this);
  if (device_ != kAudioObjectUnknown) server_.devices().forget(device_);
  modules_.clear();
}

bool CombinedDevice::hasSide(Side side) const {
  const bool isOutput = side == Side::output;
  if (!description_.has(isOutput ? AudioScope::output : AudioScope::input)) return false;
  // Members that play the same channels give none together.
  if (!isOutput && description_.isStacked) return false;
  return std::ranges::any_of(description_.subDevices, [&](const auto& member) {
    const PipeWireDevice* device = server_.devices().deviceNamed(member.uid);
    return device && (isOutput ? device->sink : device->source);
  });
}

std::string CombinedDevice::arguments(Side side) const {
  const AudioScope scope = side == Side::output ? AudioScope::output : AudioScope::input;
  std::vector<std::string> all;
  std::string rules;
  for (const auto& member : description_.subDevices) {
    const PipeWireDevice* device = server_.devices().deviceNamed(member.uid);
    if (device && !device->side(scope)) continue;
    auto own = device ? server_.devices().channels(*device, scope) : std::vector<std::string>();
    if (own.empty()) own = {"FL", "FR"};
    auto combined = own;
    if (!description_.isStacked)
      for (auto& position : combined) all.push_back(position = fmt::format("AUX{}", all.size()));
    else if (own.size() > all.size())
      all = own;
    rules += fmt::format(
        "{{ matches = [ {{ media.class = \"{}\" node.name = {} }} ] actions = {{ create-stream = {{ "
        "combine.audio.position = {} audio.position = {} stream.dont-remix = true }} }} }} ",
        side == Side::output ? "Audio/Sink" : "Audio/Source", quoted(member.uid), joined(combined),
        joined(own));
  }
  const std::string mediaClass = fmt::format("Audio/{}{}", side == Side::output ? "Sink" : "Source",
                                             description_.isPrivate ? "/Internal" : "");
  const std::string looks = fmt::format(
      "application.name = Sonmere application.id = {0} application.icon-name = {0} device.icon-name = {0}",
      kOwnBundleID);
  // No group of ours: the members' streams must not run before the combined node does, which they drive.
  return fmt::format(
      "{{ {} combine.mode = {} node.name = {} node.description = {} combine.props = {{ audio.position = {} "
      "media.class = \"{}\" node.name = {} node.description = {} {} }} stream.props = {{ {} }} "
      "stream.rules = [ {}] }}",
      server_.remote().empty() ? "" : "remote.name = " + quoted(server_.remote()),
      side == Side::output ? "sink" : "source", quoted(description_.uid), quoted(description_.name),
      joined(all), mediaClass, quoted(description_.uid), quoted(description_.name), looks, looks, rules);
}

Result<AudioDeviceID> CombinedDevice::open() {
  if (!server_.isReady()) return std::unexpected(kAudioHardwareNotRunningError);
  std::vector<Side> sides;
  for (const Side side : {Side::output, Side::input})
    if (hasSide(side)) sides.push_back(side);
  if (sides.empty()) return std::unexpected(kAudioHardwareBadDeviceError);
  std::vector<std::string> members;
  for (const auto& member : description_.subDevices) members.push_back(member.uid);
  device_ = server_.devices().expect(description_.uid, description_.isPrivate, std::move(members));
  server_.add(*this);
  for (const Side side : sides) {
    pw_impl_module* handle = pw_context_load_module(
        server_.loop().context(), "libpipewire-module-combine-stream", arguments(side).c_str(), nullptr);
    if (!handle) return std::unexpected(kAudioHardwareUnspecifiedError);
    modules_.push_back(std::make_unique<Module>(handle));
  }
  const auto isThere = [&] {
    const PipeWireDevice* device = server_.devices().device(device_);
    return device && std::ranges::all_of(sides, [&](Side side) {
             return side == Side::output ? device->sink.has_value() : device->source.has_value();
           });
  };
  if (!server_.loop().waitUntil(isThere, kAppearTimeout))
    return std::unexpected(kAudioHardwareUnspecifiedError);
  return device_;
}

void CombinedDevice::serverLost() {
  modules_.clear();
  device_ = kAudioObjectUnknown;
}

}  // namespace sonmere
