#include "platform/simulated/SimulatedApplications.h"

#include <fmt/format.h>

namespace sonmere {

namespace {
constexpr OSStatus kNoSuchApplication = -600;
}

SimulatedApplications::SimulatedApplications(std::shared_ptr<SimulatedWorld> world)
    : world_(std::move(world)), launches_(world_->runtime()), terminations_(world_->runtime()) {}

std::optional<RunningApplication> SimulatedApplications::describe(const SimulatedProcess& process) const {
  const SimulatedAppDescription& description = process.description;
  if (!description.hasApplicationObject) return std::nullopt;
  return RunningApplication{process.pid, description.bundleID, description.name, description.icon,
                            description.policy};
}

std::optional<RunningApplication> SimulatedApplications::applicationWithPID(ProcessID pid) {
  return world_->locked([&]() -> std::optional<RunningApplication> {
    const auto found = world_->graph().processes.find(pid);
    return found == world_->graph().processes.end() ? std::nullopt : describe(*found->second);
  });
}

std::vector<RunningApplication> SimulatedApplications::applicationsWithBundleID(std::string_view bundleID) {
  return world_->locked([&] {
    std::vector<RunningApplication> running;
    for (const auto& [pid, process] : world_->graph().processes)
      if (process->description.bundleID == bundleID)
        if (auto application = describe(*process)) running.push_back(std::move(*application));
    return running;
  });
}

std::optional<ProcessID> SimulatedApplications::responsiblePID(ProcessID pid) {
  if (!responsibilityIsKnown_) return std::nullopt;
  return world_->locked([&]() -> std::optional<ProcessID> {
    const auto found = world_->graph().processes.find(pid);
    if (found == world_->graph().processes.end()) return std::nullopt;
    const ProcessID responsible = found->second->description.responsiblePID;
    return responsible == 0 ? pid : responsible;
  });
}

std::optional<std::string> SimulatedApplications::iconForBundleID(std::string_view bundleID) {
  if (const auto found = installed_.find(bundleID); found != installed_.end() && !found->second.icon.empty())
    return found->second.icon;
  for (const RunningApplication& running : applicationsWithBundleID(bundleID))
    if (!running.icon.empty()) return running.icon;
  return std::nullopt;
}

OSStatus SimulatedApplications::launch(std::string_view bundleID) {
  const auto found = installed_.find(bundleID);
  if (found == installed_.end()) return kNoSuchApplication;
  if (applicationsWithBundleID(bundleID).empty()) start(found->second);
  return noErr;
}

OSStatus SimulatedApplications::terminate(ProcessID pid) {
  const bool isThere =
      pid != ownPID() && world_->locked([&] { return world_->graph().processes.contains(pid); });
  if (!isThere) return kNoSuchApplication;
  quit(pid);
  return noErr;
}

Subscription SimulatedApplications::observeLaunches(std::function<void(const RunningApplication&)> observer) {
  return launches_.add(std::move(observer));
}

Subscription SimulatedApplications::observeTerminations(
    std::function<void(const RunningApplication&)> observer) {
  return terminations_.add(std::move(observer));
}

ProcessID SimulatedApplications::start(SimulatedAppDescription description) {
  install(description);
  auto process = std::make_shared<SimulatedProcess>();
  world_->locked([&] {
    auto& processes = world_->graph().processes;
    if (description.pid == 0)
      while (processes.contains(nextPID_)) ++nextPID_;
    process->pid = description.pid != 0 ? description.pid : nextPID_++;
    process->description = std::move(description);
    process->description.pid = process->pid;
    if (process->description.hasAudioClient) process->id = world_->newObjectID();
    world_->note(fmt::format("{} (pid {}) launched", process->description.bundleID, process->pid));
    world_->change([&] { processes[process->pid] = process; });
  });
  if (const auto application = describe(*process)) launches_.post(*application);
  return process->pid;
}

void SimulatedApplications::quit(ProcessID pid) {
  const auto application = applicationWithPID(pid);
  world_->locked([&] {
    world_->note(fmt::format("pid {} quit", pid));
    world_->change([&] { world_->graph().processes.erase(pid); });
  });
  if (application) terminations_.post(*application);
}

}  // namespace sonmere
