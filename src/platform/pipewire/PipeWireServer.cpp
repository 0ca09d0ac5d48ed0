#include "platform/pipewire/PipeWireServer.h"

#include <fmt/format.h>
#include <unistd.h>

#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>

#include "base/RealtimeTimeLimit.h"
#include "platform/desktop/DesktopApplications.h"

namespace sonmere {

namespace {

constexpr double kUsualRate = 48000;
constexpr std::uint32_t kUsualQuantum = 1024, kLargestQuantum = 8192;
constexpr Duration kConnectTimeout = std::chrono::seconds(2);
constexpr Duration kAnswerTimeout = fromMilliseconds(500);
// The session manager is a program of its own, and may be busy.
constexpr Duration kSessionTimeout = std::chrono::seconds(2);

double numberIn(const std::optional<std::string>& text, double otherwise) {
  double value = 0;
  if (!text) return otherwise;
  const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), value);
  return error == std::errc() && value > 0 ? value : otherwise;
}

std::string side(DefaultDevice role) { return role == DefaultDevice::input ? "source" : "sink"; }

// {"name":"..."}
std::string nameIn(const std::optional<std::string>& text) {
  if (!text) return {};
  const auto json = nlohmann::json::parse(*text, nullptr, false);
  if (!json.is_object() || !json.contains("name") || !json["name"].is_string()) return {};
  return json["name"];
}

}  // namespace

PipeWireServer::PipeWireServer(Runtime& runtime, Log& log, DesktopApplications& applications,
                               const PipeWireOptions& options)
    : runtime_(runtime),
      log_(log),
      remote_(options.remote),
      group_(fmt::format("sonmere.{}", getpid())),
      graph_(*this),
      devices_(graph_, [this] { return newID(); }),
      processes_(graph_, applications.entries(), [this] { return newID(); }),
      arrivals_(loop_, graph_, log),
      mover_(graph_, processes_, links_, room_, arrivals_, log),
      links_(graph_, processes_),
      narrowOutputs_(graph_, devices_, processes_, [this] { return defaultName(DefaultDevice::output); }),
      guard_(loop_, options, log),
      departing_(loop_, graph_),
      room_(loop_, graph_, departing_),
      defaultsWatch_(loop_),
      watch_(loop_, connection_, log, [this] { return runtime_.uptime(); }),
      connection_(loop_, options.remote) {
  const PipeWireLoop::Lock lock(loop_);
  devices_.listChanged = [this] {
    notify(AudioProperty::devices);
    defaultsWatch_.update();
  };
  defaultsWatch_.isUnknown = [this] { return isDefaultUnknown(); };
  defaultsWatch_.askAgain = [this] { graph_.askForDefaults(); };
  defaultsWatch_.gaveUp = [this] {
    log_.warning("Sonmere: the session tells no default device; going by the devices themselves");
    notifyDefaultOutput();
    notify(AudioProperty::defaultInput);
  };
  devices_.deviceChanged = [this](AudioDeviceID device, AudioProperty property, AudioScope scope) {
    listeners_.notify(device, property, scope);
  };
  processes_.listChanged = [this] {
    notify(AudioProperty::processObjectList);
    // A tap that covers a process which was not known to be one yet.
    for (const auto& [id, node] : graph_.nodes()) mover_.nodeChanged(node);
  };
  processes_.appeared = [&applications](ProcessID pid, const AppIdentity& identity) {
    applications.appeared(pid, identity);
  };
  processes_.vanished = [&applications](ProcessID pid) { applications.vanished(pid); };
  processes_.runningChanged = [this](AudioObjectID process) {
    listeners_.notify(process, AudioProperty::isRunningOutput);
    watch_.update();
  };
  graph_.defaults().changed = [this](GlobalID subject, const std::string& key,
                                     const std::optional<std::string>& value) {
    defaultsChanged(subject, key, value);
  };
  graph_.defaults().presenceChanged = [this](bool isPresent) {
    if (isPresent) mover_.tableCameBack();
    defaultsWatch_.update();
    loop_.wake();
  };
  graph_.settings().changed = [this](GlobalID, const std::string& key, const std::optional<std::string>&) {
    settingsChanged(key);
  };
  watch_.isNeeded = [this] {
    if (!isReady() || dependents_.empty()) return false;
    for (const auto& [id, process] : processes_.all())
      if (process.isRunning) return true;
    return false;
  };
  watch_.tick = [this] { return mover_.reclaim(); };
  arrivals_.detour = [this] { return room_.serial(); };
  arrivals_.look = [this] { return links_.look(); };
  arrivals_.isBeside = [this](GlobalID stream, GlobalID device) { return links_.isBeside(stream, device); };
  links_.holder = [this](GlobalID stream) { return mover_.holder(stream); };
  links_.refused = [this] { arrivals_.update(); };
  mover_.needChanged = [this] { updateRoom(); };
  room_.look = [this] {
    guard_.beat();
    mover_.look();
  };
  room_.occupancyChanged = [this](std::uint32_t serial, bool isOccupied) {
    isOccupied ? guard_.add(serial) : guard_.remove(serial);
  };
  connection_.connected = [this](pw_core* core) { connected(core); };
  connection_.ready = [this] { ready(); };
  connection_.lost = [this] { lost(); };
  connection_.start();
}

PipeWireServer::~PipeWireServer() {
  const PipeWireLoop::Lock lock(loop_);
  if (forcedRate_ && graph_.settings().value(0, "clock.force-rate") == forcedRate_)
    graph_.settings().set(0, "clock.force-rate", "0");
  isEnding_ = true;
  arrivals_.look = nullptr;
  departing_.releaseAll();
  mover_.leaveRoom();
  loop_.waitUntil([&] { return !room_.isLinked() || !isReady(); }, kAnswerTimeout);
  room_.close();
  // What was said last is on its way only once the server has answered.
  bool hasAnswered = !isReady();
  connection_.ping([&] {
    hasAnswered = true;
    loop_.wake();
  });
  loop_.waitUntil([&] { return hasAnswered || !isReady(); }, kAnswerTimeout);
}

bool PipeWireServer::waitUntilReady(Duration timeout) {
  const PipeWireLoop::Lock lock(loop_);
  return loop_.waitUntil([&] { return isReady() && !defaultName(DefaultDevice::output).empty(); }, timeout);
}

void PipeWireServer::connected(pw_core* core) {
  links_.setCore(core);
  graph_.attach(core);
  updateRoom();
}

void PipeWireServer::updateRoom() {
  if (mover_.needsRoom()) return room_.open(core(), uniqueName("waiting"));
  mover_.leaveRoom();
  room_.closeSoon();
}

// Nobody is to choose the waiting room as the output of all programs.
void PipeWireServer::protectDefault() {
  const std::string name = defaultName(DefaultDevice::output);
  const GraphNode* room = room_.node();
  if (!room || name != room->name())
    lastDefault_ = name;
  else if (!lastDefault_.empty())
    graph_.defaults().set(0, "default.configured.audio.sink", nlohmann::json{{"name", lastDefault_}}.dump(),
                          "Spa:String:JSON");
}

void PipeWireServer::ready() {
  defaultsWatch_.update();
  if (std::exchange(wasReady_, true)) {
    log_.warning(fmt::format("Sonmere: the audio server is back after {:.1f} s",
                             lostAt_ ? toSeconds(runtime_.uptime() - *lostAt_) : 0.0));
    lostAt_.reset();
    notify(AudioProperty::serviceRestarted);
  }
  // Whoever asked before was answered that nothing runs, and hears of it now.
  notify(AudioProperty::devices);
  notify(AudioProperty::processObjectList);
}

void PipeWireServer::lost() {
  if (isReady() && !isEnding_) {
    lostAt_ = runtime_.uptime();
    log_.error("Sonmere: the audio server has gone; waiting for it to come back");
  }
  for (ServerDependent* dependent : dependents_) dependent->serverLost();
  departing_.forget();
  room_.forget();
  defaultsWatch_.reset();
  guard_.clear();
  watch_.reset();
  links_.reset();
  links_.setCore(nullptr);
  mover_.reset();
  processes_.clear();
  devices_.clear();
  graph_.detach();
  if (lostAt_) notify(AudioProperty::serviceLost);
}

void PipeWireServer::defaultsChanged(GlobalID subject, const std::string& key,
                                     const std::optional<std::string>& value) {
  if (key == "target.object") {
    mover_.targetChanged(subject, value);
    watch_.update();
  }
  if (key == AppMover::kReachableKey) mover_.reachChanged();
  if (subject == 0 && key == "default.audio.sink") {
    defaultsWatch_.update();
    protectDefault();
    notifyDefaultOutput();
  }
  if (subject == 0 && key == "default.audio.source") notify(AudioProperty::defaultInput);
  loop_.wake();
}

void PipeWireServer::notifyDefaultOutput() {
  notify(AudioProperty::defaultOutput);
  notify(AudioProperty::defaultSystemOutput);
  if (outputsChanged) outputsChanged();
  loop_.wake();
}

bool PipeWireServer::isDefaultUnknown() const {
  return isReady() && devices_.best(AudioScope::output) && !graph_.defaults().value(0, "default.audio.sink");
}

void PipeWireServer::settingsChanged(const std::string& key) {
  if (key == "clock.force-rate" || key == "clock.rate") {
    for (const AudioDeviceID device : devices_.list())
      listeners_.notify(device, AudioProperty::nominalSampleRate);
    if (rateChanged) rateChanged();
  }
  loop_.wake();
}

void PipeWireServer::nodeChanged(const GraphNode& node) {
  devices_.nodeChanged(node);
  // First the move: once the stream is linked to a device it has been heard there.
  mover_.nodeChanged(node);
  processes_.nodeChanged(node);
  links_.nodeChanged(node);
  if (&node == room_.node()) mover_.roomCame();
  loop_.wake();
}

void PipeWireServer::nodeRemoved(const GraphNode& node) {
  mover_.nodeRemoved(node);
  devices_.nodeRemoved(node);
  processes_.nodeRemoved(node);
  loop_.wake();
}

void PipeWireServer::portAdded(const GraphPort& port) {
  links_.portAdded(port);
  if (outputsChanged) outputsChanged();
}

void PipeWireServer::linkAdded(const GraphLink& link) {
  mover_.linkAdded(link);
  if (outputsChanged) outputsChanged();
}

void PipeWireServer::routesChanged(const GraphCard& card) {
  devices_.routesChanged(card);
  loop_.wake();
}

void PipeWireServer::clientChanged(const GraphClient& client) { processes_.clientChanged(client); }

void PipeWireServer::clientRemoved(const GraphClient& client) { processes_.clientRemoved(client); }

std::string PipeWireServer::uniqueName(const std::string& kind) {
  return fmt::format("sonmere-{}-{}-{}", kind, getpid(), nextName_++);
}

std::string PipeWireServer::descriptionOf(const PipeWireDevice& device) const {
  std::string name = devices_.name(device);
  if (name.starts_with("Sonmere ")) name.erase(0, 8);
  return "Sonmere: " + name;
}

double PipeWireServer::graphRate() const {
  const MetadataMirror& settings = graph_.settings();
  const double usual = numberIn(settings.value(0, "clock.rate"), kUsualRate);
  return numberIn(settings.value(0, "clock.force-rate"), usual);
}

OSStatus PipeWireServer::setGraphRate(double rate) {
  if (!isReady() || !graph_.settings().isPresent()) return kAudioHardwareNotRunningError;
  if (!(rate >= 8000 && rate <= 768000)) return kAudioDeviceUnsupportedFormatError;
  if (std::abs(graphRate() - rate) < 0.5) return noErr;
  forcedRate_ = std::to_string(std::lround(rate));
  graph_.settings().set(0, "clock.force-rate", forcedRate_);
  const bool isSet = loop_.waitUntil([&] { return std::abs(graphRate() - rate) < 1; }, kAnswerTimeout);
  return isSet ? noErr : kAudioHardwareUnspecifiedError;
}

std::vector<double> PipeWireServer::allowedRates() const {
  // The server takes any of these when forced, whatever it chooses by itself.
  std::vector<double> rates = {44100, 48000, 88200, 96000, 176400, 192000};
  const double present = graphRate();
  if (std::ranges::find(rates, present) == rates.end()) rates.push_back(present);
  return rates;
}

std::uint32_t PipeWireServer::graphQuantum() const {
  const MetadataMirror& settings = graph_.settings();
  const double usual = numberIn(settings.value(0, "clock.quantum"), kUsualQuantum);
  return std::uint32_t(numberIn(settings.value(0, "clock.force-quantum"), usual));
}

bool PipeWireServer::allowsQuantum(std::uint32_t frames) const {
  const MetadataMirror& settings = graph_.settings();
  const double forced = numberIn(settings.value(0, "clock.force-quantum"), 0);
  if (forced > 0) return frames == forced;
  return frames >= numberIn(settings.value(0, "clock.min-quantum"), 1) &&
         frames <= numberIn(settings.value(0, "clock.max-quantum"), kLargestQuantum);
}

std::string PipeWireServer::defaultName(DefaultDevice role) const {
  const auto told = graph_.defaults().value(0, "default.audio." + side(role));
  if (told || !defaultsWatch_.hasGivenUp()) return nameIn(told);
  const auto* device = devices_.best(role == DefaultDevice::input ? AudioScope::input : AudioScope::output);
  return device ? device->uid : std::string();
}

// The session manager takes the wish and sets the default by it.
OSStatus PipeWireServer::setDefaultName(DefaultDevice role, const std::string& uid) {
  if (!isReady() || !graph_.defaults().isPresent()) return kAudioHardwareNotRunningError;
  // There is one default output for all kinds of sound.
  if (role == DefaultDevice::systemOutput && defaultName(role) == uid) return noErr;
  graph_.defaults().set(0, "default.configured.audio." + side(role), nlohmann::json{{"name", uid}}.dump(),
                        "Spa:String:JSON");
  const bool isSet = loop_.waitUntil([&] { return defaultName(role) == uid; }, kSessionTimeout);
  return isSet ? noErr : kAudioHardwareUnspecifiedError;
}

OSStatus PipeWireServer::open(std::unique_ptr<CycleStream>& stream, CycleStreamPlan plan,
                              CycleStream::Process process, void* refcon) {
  stream = std::make_unique<CycleStream>(loop_, std::move(plan), process, refcon);
  const OSStatus status = stream->connect(core(), kConnectTimeout);
  // With the first stream the audio thread has its priority, and whoever gave it has set limits.
  RealtimeTimeLimit::lowerSoft();
  if (status == noErr)
    watch(*stream);
  else
    stream.reset();
  return status;
}

void PipeWireServer::close(std::unique_ptr<CycleStream>& stream) {
  if (!stream) return;
  unwatch(*stream);
  departing_.bury(std::move(stream));
}

void PipeWireServer::watch(const CycleStream& stream) {
  watch_.add(stream);
  watch_.update();
}

void PipeWireServer::unwatch(const CycleStream& stream) {
  watch_.remove(stream);
  watch_.update();
}

}  // namespace sonmere
