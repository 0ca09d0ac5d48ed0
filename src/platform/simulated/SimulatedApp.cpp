#include "platform/simulated/SimulatedApp.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "platform/simulated/SimulatedApplications.h"
#include "platform/simulated/SimulatedWorld.h"

namespace sonmere {

namespace {

// A source that has ended makes its program stop playing, unless it plays something else by now.
std::function<void()> endHandler(SimulatedWorld& world, ProcessID pid, std::uint64_t generation) {
  return [&runtime = world.runtime(), weak = world.weak_from_this(), pid, generation] {
    runtime.mainQueue().post([weak, pid, generation] {
      const auto alive = weak.lock();
      if (!alive) return;
      alive->locked([&] {
        const auto found = alive->graph().processes.find(pid);
        if (found == alive->graph().processes.end() || found->second->playGeneration != generation) return;
        alive->note(fmt::format("{} has played to the end", found->second->description.bundleID));
        alive->change([&] { found->second->isPlaying = false; });
      });
    });
  };
}

// What nobody has captured by now plays after all.
void endWaitLater(SimulatedWorld& world, ProcessID pid, std::uint64_t generation) {
  world.runtime().mainQueue().postAfter(
      kLongestCaptureWait, [weak = world.weak_from_this(), pid, generation] {
        const auto alive = weak.lock();
        if (!alive) return;
        alive->locked([&] {
          const auto found = alive->graph().processes.find(pid);
          if (found == alive->graph().processes.end() || found->second->playGeneration != generation) return;
          if (found->second->standsStill) alive->change([&] { found->second->standsStill = false; });
        });
      });
}

}  // namespace

template <class T, class Ask>
T SimulatedApp::ask(T absent, Ask&& ask) const {
  if (!world_) return absent;
  return world_->locked([&] {
    const auto found = world_->graph().processes.find(pid_);
    return found == world_->graph().processes.end() ? absent : T(ask(*found->second));
  });
}

void SimulatedApp::edit(const char* event, const std::function<void(SimulatedProcess&)>& edit) {
  if (!world_) return;
  world_->locked([&] {
    const auto found = world_->graph().processes.find(pid_);
    if (found == world_->graph().processes.end()) return;
    world_->note(fmt::format("{} (pid {}) {}", found->second->description.bundleID, pid_, event));
    world_->change([&] { edit(*found->second); });
  });
}

AudioObjectID SimulatedApp::objectID() const {
  return ask(kAudioObjectUnknown, [](const SimulatedProcess& process) { return process.id; });
}

void SimulatedApp::play(std::unique_ptr<SampleSource> source) {
  edit("plays", [&](SimulatedProcess& process) {
    const std::uint64_t generation = ++process.playGeneration;
    process.voice = std::make_shared<AppVoice>(std::move(source), endHandler(*world_, pid_, generation));
    const bool isNew = !std::exchange(process.isPlaying, true);
    process.standsStill = process.standsStill || (isNew && world_->graph().isExpected(process));
    if (process.standsStill) endWaitLater(*world_, pid_, generation);
    if (process.id == kAudioObjectUnknown) process.id = world_->newObjectID();
  });
}

void SimulatedApp::pause() {
  edit("pauses", [](SimulatedProcess& process) { process.isPlaying = false; });
}

void SimulatedApp::resume() {
  edit("resumes", [](SimulatedProcess& process) { process.isPlaying = process.voice != nullptr; });
}

void SimulatedApp::stop() {
  edit("stops", [](SimulatedProcess& process) {
    process.isPlaying = false;
    process.voice.reset();
  });
}

void SimulatedApp::quit() {
  if (applications_ && isRunning()) applications_->quit(pid_);
}

void SimulatedApp::setDevice(std::optional<std::string> uid) {
  edit(uid ? "chooses a device" : "follows the default output",
       [&](SimulatedProcess& process) { process.deviceUID = std::move(uid); });
}

bool SimulatedApp::isRunning() const {
  return ask(false, [](const SimulatedProcess&) { return true; });
}

bool SimulatedApp::isPlaying() const {
  return ask(false, [](const SimulatedProcess& process) { return process.isPlaying; });
}

bool SimulatedApp::isSilenced() const {
  return ask(false, [&](const SimulatedProcess& process) { return world_->graph().isSilenced(process); });
}

std::size_t SimulatedApp::tapCount() const {
  return ask(std::size_t(0), [&](const SimulatedProcess& process) {
    return std::size_t(std::ranges::count_if(world_->graph().taps, [&](const auto& entry) {
      return world_->graph().covers(entry.second, process);
    }));
  });
}

}  // namespace sonmere
