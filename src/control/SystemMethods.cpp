#include "control/ControlMethodReaders.h"
#include "control/SystemCodec.h"

namespace sonmere {

void ControlMethods::addMonitor() {
  add("monitor", [this]() -> Outcome<ControlJSON> { return encodeControl(control_.monitor().state()); });
  add("monitor.enable", readFlag("enabled"),
      [this](bool on) { return answer(control_.monitor().setEnabled(on)); });
  add(
      "monitor.select", [](ControlParams& p) { return p.text("device"); },
      [this](const std::string& device) { return answer(control_.monitor().select(device)); });
  add("monitor.follow", [this] { return answer(control_.monitor().followDefault()); });
  add("monitor.app", forApp(readFlag("enabled")),
      [this](const auto& v) { return answer(control_.monitor().setApp(v.app, v.value)); });
  add("monitor.appVolume", forApp(readVolume),
      [this](const auto& v) { return answer(control_.monitor().setAppVolume(v.app, v.value)); });
  add("monitor.link", forApp(readFlag("linked")),
      [this](const auto& v) { return answer(control_.monitor().setLinked(v.app, v.value)); });
  add(
      "monitor.bus", [](ControlParams& p) { return std::pair(p.whole("bus"), p.flag("enabled")); },
      [this](const auto& v) { return answer(control_.monitor().setBus(v.first, v.second)); });
  add(
      "monitor.busVolume",
      [](ControlParams& p) {
        const int bus = p.whole("bus");
        return std::pair(bus, readVolume(p));
      },
      [this](const auto& v) { return answer(control_.monitor().setBusVolume(v.first, v.second)); });
  add("monitor.mic", readFlag("enabled"),
      [this](bool on) { return answer(control_.monitor().setMicrophone(on)); });
  add("monitor.micVolume", readVolume,
      [this](VolumeRequest request) { return answer(control_.monitor().setMicrophoneVolume(request)); });
}

void ControlMethods::addDAW() {
  add("daw", [this]() -> Outcome<ControlJSON> { return encodeControl(control_.daw().state()); });
  add("daw.enable", readFlag("enabled"), [this](bool on) { return answer(control_.daw().setEnabled(on)); });
  add("daw.reset", [this] { return answer(control_.daw().reset()); });
  add(
      "combine", [](ControlParams& p) { return std::pair(p.texts("devices"), p.textIf("name")); },
      [this](const auto& v) { return answer(control_.daw().combine(v.first, v.second)); });
  add("combine.off", [this] { return answer(control_.daw().separate()); });
}

void ControlMethods::addSystem() {
  add("system", [this]() -> Outcome<ControlJSON> { return encodeControl(control_.system().state()); });
  add("system.enable", readFlag("enabled"),
      [this](bool on) { return answer(control_.system().setEnabled(on)); });
  add(
      "system.select", [](ControlParams& p) { return p.text("device"); },
      [this](const std::string& device) { return answer(control_.system().select(device)); });
  add("system.follow", readFlag("following"),
      [this](bool on) { return answer(control_.system().setFollowing(on)); });
  add("system.reset", [this] { return answer(control_.system().reset()); });
}

void ControlMethods::addMix() {
  add("mix", [this]() -> Outcome<ControlJSON> { return encodeControl(control_.mix().state()); });
  add("mix.enable", readFlag("enabled"), [this](bool on) { return answer(control_.mix().setEnabled(on)); });
  add("mix.hear", forApp(readVolume),
      [this](const auto& v) { return answer(control_.mix().setHear(v.app, v.value)); });
  add("mix.stream", forApp(readVolume),
      [this](const auto& v) { return answer(control_.mix().setStream(v.app, v.value)); });
  add("mix.link", forApp(readFlag("linked")),
      [this](const auto& v) { return answer(control_.mix().setLinked(v.app, v.value)); });
  add("mix.catchAll", readFlag("enabled"),
      [this](bool on) { return answer(control_.mix().setCatchAll(on)); });
  add("mix.catchAllVolume", readVolume,
      [this](VolumeRequest request) { return answer(control_.mix().setCatchAllVolume(request)); });
  add("mix.audition", readFlag("enabled"),
      [this](bool on) { return answer(control_.mix().setAudition(on)); });
  add("mix.tracks", readFlag("enabled"),
      [this](bool on) { return answer(control_.mix().setHearsTracks(on)); });
  add(
      "mix.track", [](ControlParams& p) { return std::pair(p.whole("track"), p.flag("muted")); },
      [this](const auto& v) { return answer(control_.mix().setTrackMuted(v.first, v.second)); });
  add(
      "mix.trackVolume",
      [](ControlParams& p) {
        const int track = p.whole("track");
        return std::pair(track, readVolume(p));
      },
      [this](const auto& v) { return answer(control_.mix().setTrackVolume(v.first, v.second)); });
}

}  // namespace sonmere
