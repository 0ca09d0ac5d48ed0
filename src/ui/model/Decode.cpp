#include "ui/model/Decode.h"
#include "recording/RecordedSource.h"

namespace sonmere {
namespace {

AppEQSettings decodeEqualiserState(const TopicJSON& json) {
  AppEQSettings eq;
  eq.isEnabled = memberOr(json, "enabled", eq.isEnabled);
  eq.highPassFreq = memberOr(json, "highPassHz", eq.highPassFreq);
  eq.lowPassFreq = memberOr(json, "lowPassHz", eq.lowPassFreq);
  eq.paraFreq = memberOr(json, "bellHz", eq.paraFreq);
  eq.paraGain = memberOr(json, "bellDb", eq.paraGain);
  eq.paraQ = memberOr(json, "bellQ", eq.paraQ);
  return eq;
}

}  // namespace

QString notesOf(const ControlJSON& result) {
  QStringList lines;
  const auto notes = result.is_object() ? result.find("notes") : result.end();
  if (notes == result.end() || !notes->is_array()) return {};
  for (const auto& note : *notes) {
    if (note.is_string()) lines << QString::fromStdString(note.get<std::string>());
  }
  return lines.join(QLatin1Char('\n'));
}

AppState decodeApp(const std::string& id, const TopicJSON& json) {
  const TopicJSON& facts = objectAt(json, "facts");
  const TopicJSON& wishes = objectAt(json, "wishes");
  AppState app;
  app.id = id;
  app.name = memberOr(facts, "name", id);
  app.isRunning = memberOr(facts, "running", false);
  app.control = memberOr<std::string>(facts, "control", "none");
  app.bus = memberIf<int>(facts, "bus");
  if (const TopicJSON& output = objectAt(facts, "output"); !output.empty())
    app.output = {memberOr<std::string>(output, "device", {}), memberOr<std::string>(output, "name", {}),
                  memberOr(output, "left", 1), memberOr(output, "right", 2),
                  memberOr(output, "playing", false)};
  app.isRouteWaiting = memberOr(facts, "routeWaits", false);
  if (const auto hints = facts.find("hints"); hints != facts.end() && hints->is_array()) {
    for (const TopicJSON& hint : *hints) {
      if (hint.is_string()) app.hints.push_back(hint.get<std::string>());
    }
  }
  app.isHidden = memberOr(wishes, "hidden", false);
  app.isPinned = memberOr(wishes, "pinned", false);
  app.volume = memberOr(wishes, "volume", 1.0f);
  app.isMuted = memberOr(wishes, "muted", false);
  return app;
}

void decodeEffects(const TopicJSON& json, AppState& app) {
  app.equaliser = decodeEqualiserState(objectAt(json, "equaliser"));
  const TopicJSON& limiter = objectAt(json, "limiter");
  app.limiter.isEnabled = memberOr(limiter, "enabled", false);
  app.limiter.ceilingDb = memberOr(limiter, "ceilingDb", AppLimiterSettings().ceilingDb);
}

AppMeters decodeMeters(const ControlJSON& json) {
  AppMeters meters;
  meters.levelDb = memberIf<float>(json, "levelDb");
  meters.gainReductionDb = memberOr(json, "gainReductionDb", 0.0f);
  meters.addedDelayMs = memberOr(json, "addedDelayMs", 0.0);
  meters.underruns = memberOr<std::int64_t>(json, "underruns", 0);
  return meters;
}

MixerState decodeMixer(const TopicJSON& json) {
  const TopicJSON& facts = objectAt(json, "facts");
  const TopicJSON& wishes = objectAt(json, "wishes");
  MixerState mixer;
  mixer.outputDevice = memberOr<std::string>(facts, "outputDevice", {});
  mixer.sampleRate = memberOr(facts, "sampleRate", 0.0);
  mixer.error = memberIf<std::string>(facts, "error");
  mixer.isEnabled = memberOr(wishes, "enabled", false);
  mixer.masterVolume = memberOr(wishes, "masterVolume", 1.0f);
  mixer.boostAllowed = memberOr(wishes, "boostAllowed", true);
  mixer.outputEqualiser = decodeEqualiserState(objectAt(wishes, "outputEqualiser"));
  return mixer;
}

RecordingState decodeRecording(const ControlJSON& json) {
  RecordingState recording;
  const auto side = recordedSourceNamed(memberOr<std::string>(json, "source", {}));
  recording.source = side ? *side : memberOr(json, "bus", 0);
  recording.path = memberOr<std::string>(json, "path", {});
  recording.seconds = memberOr(json, "seconds", 0.0);
  recording.frames = memberOr<std::int64_t>(json, "frames", 0);
  recording.bytes = memberOr<std::int64_t>(json, "bytes", 0);
  recording.lostFrames = memberOr<std::int64_t>(json, "lostFrames", 0);
  recording.peakDb = memberOr(json, "peakDb", recording.peakDb);
  recording.isSilent = memberOr(json, "silent", false);
  return recording;
}

DeviceState decodeDevice(const TopicJSON& json) {
  DeviceState device;
  device.id = memberOr<std::string>(json, "id", {});
  device.name = memberOr(json, "name", device.id);
  device.inputs = memberOr(json, "inputs", 0);
  device.outputs = memberOr(json, "outputs", 0);
  device.sampleRate = memberOr(json, "sampleRate", 0.0);
  device.isDefaultOutput = memberOr(json, "defaultOutput", false);
  device.isDefaultInput = memberOr(json, "defaultInput", false);
  device.isOwn = memberOr(json, "own", false);
  return device;
}

namespace {

AppLimiterSettings decodeLimiterState(const TopicJSON& json) {
  AppLimiterSettings limiter;
  limiter.isEnabled = memberOr(json, "enabled", false);
  limiter.ceilingDb = memberOr(json, "ceilingDb", limiter.ceilingDb);
  return limiter;
}

ExtraInputState decodeExtraInput(const std::string& id, const TopicJSON& json) {
  ExtraInputState input;
  input.id = id;
  input.name = memberOr(json, "name", id);
  input.channel = memberOr(json, "channel", 1);
  input.volume = memberOr(json, "volume", 1.0f);
  input.isMuted = memberOr(json, "muted", false);
  input.pan = memberOr(json, "pan", 0.0f);
  input.equaliser = decodeEqualiserState(objectAt(json, "equaliser"));
  return input;
}

void decodeInputWishes(const TopicJSON& wishes, InputState& input) {
  input.isEnabled = memberOr(wishes, "enabled", false);
  input.channels = memberOr<std::string>(wishes, "channels", "auto");
  input.volume = memberOr(wishes, "volume", 1.0f);
  input.equaliser = decodeEqualiserState(objectAt(wishes, "equaliser"));
  input.limiter = decodeLimiterState(objectAt(wishes, "limiter"));
  for (const auto& [bus, volume] : objectAt(wishes, "sends").items())
    if (volume.is_number()) input.sends[QString::fromStdString(bus).toInt()] = volume.get<float>();
}

}  // namespace

InputState decodeInput(const TopicJSON& json) {
  const TopicJSON& facts = objectAt(json, "facts");
  const TopicJSON& lock = objectAt(json, "lock");
  InputState input;
  decodeInputWishes(objectAt(json, "wishes"), input);
  input.isRunning = memberOr(facts, "running", false);
  input.isOnFallback = memberOr(facts, "onFallback", false);
  input.newDevice = memberIf<std::string>(facts, "newDevice");
  input.captureRate = memberOr(facts, "captureRate", 0.0);
  input.bridgeRate = memberOr(facts, "bridgeRate", 0.0);
  input.error = memberIf<std::string>(facts, "error");
  visitInOrder(json, "devices", [&](const std::string& id, const TopicJSON& device) {
    input.devices.push_back({id, memberOr(device, "name", id), memberOr(device, "channels", 0),
                             memberOr(device, "used", false), memberOr(device, "chosen", false)});
  });
  visitInOrder(objectAt(json, "inputs"), "inputs", [&](const std::string& id, const TopicJSON& each) {
    input.extras.push_back(decodeExtraInput(id, each));
  });
  input.lock = {memberOr(lock, "enabled", false),        memberOr<std::string>(lock, "device", {}),
                memberOr<std::string>(lock, "name", {}), memberOr(lock, "present", false),
                memberOr(lock, "backingOff", false),     memberOr(lock, "restores", 0)};
  return input;
}

MonitorState decodeMonitor(const TopicJSON& json) {
  const TopicJSON& facts = objectAt(json, "facts");
  const TopicJSON& wishes = objectAt(json, "wishes");
  const TopicJSON& microphone = objectAt(json, "microphone");
  MonitorState monitor;
  monitor.isEnabled = memberOr(wishes, "enabled", false);
  monitor.isFollowing = memberOr(wishes, "following", true);
  monitor.isRunning = memberOr(facts, "running", false);
  monitor.device = memberOr<std::string>(facts, "device", {});
  monitor.sampleRate = memberOr(facts, "sampleRate", 0.0);
  monitor.error = memberIf<std::string>(facts, "error");
  visitInOrder(json, "devices", [&](const std::string& id, const TopicJSON& device) {
    monitor.devices.push_back({id, memberOr(device, "name", id), memberOr(device, "used", false),
                               memberOr(device, "chosen", false)});
  });
  for (const auto& [id, app] : objectAt(json, "apps").items())
    monitor.apps.push_back({id, memberOr(app, "name", id), memberOr(app, "enabled", false),
                            memberOr(app, "heard", false), memberOr(app, "volume", 1.0f),
                            memberOr(app, "linked", true)});
  for (const auto& [number, bus] : objectAt(json, "buses").items())
    monitor.buses.push_back({memberOr(bus, "bus", 0), memberOr(bus, "name", number),
                             memberOr(bus, "enabled", false), memberOr(bus, "volume", 1.0f)});
  monitor.hearsMicrophone = memberOr(microphone, "enabled", false);
  monitor.isMicrophoneHeard = memberOr(microphone, "heard", false);
  monitor.microphoneVolume = memberOr(microphone, "volume", 1.0f);
  return monitor;
}

InputMeters decodeInputMeters(const ControlJSON& json) {
  InputMeters meters;
  meters.beforeDb = memberOr(json, "beforeDb", -60.0f);
  meters.afterDb = memberOr(json, "afterDb", -60.0f);
  meters.gainReductionDb = memberOr(json, "gainReductionDb", 0.0f);
  for (const auto& [id, peak] : objectAt(json, "inputPeaks").items())
    if (peak.is_number()) meters.extraPeaks[id] = peak.get<float>();
  return meters;
}

}  // namespace sonmere
