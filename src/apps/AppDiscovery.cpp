#include "apps/AppDiscovery.h"

#include <fmt/format.h>

#include <algorithm>

#include "apps/FamilyRules.h"

namespace sonmere {

namespace {
// A burst of process launches costs one refresh.
constexpr Duration kRefreshDelay = fromMilliseconds(150);
constexpr const char* kBellIcon = "bell.fill";
constexpr const char* kPhoneIcon = "phone.fill";
constexpr const char* kCallApplication = "com.apple.FaceTime";
}  // namespace

AppDiscovery::AppDiscovery(EngineContext& context) : context_(context) {}

OSStatus AppDiscovery::listen(PropertyListener& listener, AudioObjectID object, AudioProperty property,
                              std::function<void()> handler) {
  return listener.listen(context_.hardware(), object, property, context_.runtime.mainQueue(),
                         std::move(handler));
}

void AppDiscovery::installListeners() {
  const OSStatus status = listen(processListener_, kAudioObjectSystemObject, AudioProperty::processObjectList,
                                 [this] { scheduleRefresh(); });
  if (status != noErr)
    context_.log.error(fmt::format("Sonmere: Failed to install process-object-list listener: {}", status));
  RunningApplications& applications = context_.platform.applications();
  workspaceObservers_.push_back(applications.observeLaunches([this](const auto&) { scheduleRefresh(); }));
  workspaceObservers_.push_back(applications.observeTerminations([this](const auto&) { scheduleRefresh(); }));
}

void AppDiscovery::forgetObjects() {
  for (auto& [object, listener] : webKitOutputListeners_) listener.forget();
  webKitOutputListeners_.clear();
  callAudioListenerObject_ = kAudioObjectUnknown;
  callAudioListener_.forget();
  members_.clear();
}

void AppDiscovery::scheduleRefresh() {
  if (scheduledRefresh_) return;
  scheduledRefresh_ = context_.runtime.mainQueue().postAfter(kRefreshDelay, [this] {
    scheduledRefresh_ = {};
    refresh();
  });
}

std::optional<AppDiscovery::Member> AppDiscovery::readMember(AudioObjectID object) {
  AudioHardware& hardware = context_.hardware();
  if (const auto known = members_.find(object); known != members_.end()) return known->second;
  const auto pid = hardware.processPID(object);
  auto bundleID = hardware.processBundleID(object);
  if (!pid || !bundleID || bundleID->empty()) return std::nullopt;
  return members_[object] = {object, *pid, std::move(*bundleID)};
}

bool AppDiscovery::isForeign(const Member& member) const {
  RunningApplications& applications = context_.platform.applications();
  return member.pid != applications.ownPID() && member.bundleID != applications.ownBundleID() &&
         !FamilyRules::hiddenSystemBundleIDs().contains(member.bundleID);
}

// The app that answers for a content process of the web engine. Where the platform can't tell, the engine's
// own browser does.
AppDiscovery::Owner AppDiscovery::findWebKitOwner(const Member& member) {
  RunningApplications& applications = context_.platform.applications();
  const auto responsible = applications.responsiblePID(member.pid);
  if (responsible && *responsible != member.pid)
    if (auto application = applications.applicationWithPID(*responsible))
      return {application->bundleID, std::move(application)};
  const std::string safari(FamilyRules::kSafariKey);
  auto running = applications.applicationsWithBundleID(safari);
  return {safari, running.empty() ? std::nullopt : std::optional(std::move(running.front()))};
}

AppDiscovery::Owner AppDiscovery::findOwner(const Member& member) {
  RunningApplications& applications = context_.platform.applications();
  if (FamilyRules::isSystemSoundServer(member.bundleID))
    return {std::string(FamilyRules::kSystemSoundsKey), {}};
  if (member.bundleID == FamilyRules::kCallAudioKey) return {member.bundleID, {}};
  if (FamilyRules::isSiriProcess(member.bundleID)) return {std::string(FamilyRules::kSiriKey), {}};
  if (FamilyRules::isWebKitProcess(member.bundleID)) return findWebKitOwner(member);
  if (auto owner = FamilyRules::helperOwner(member.bundleID)) {
    auto running = applications.applicationsWithBundleID(*owner);
    return {std::move(*owner), running.empty() ? std::nullopt : std::optional(std::move(running.front()))};
  }
  return {member.bundleID, applications.applicationWithPID(member.pid)};
}

void AppDiscovery::addMember(std::vector<PendingAppFamily>& families,
                             std::map<std::string, bool>& hasRegularOwner, const Member& member) {
  RunningApplications& applications = context_.platform.applications();
  const Owner owner = findOwner(member);
  if (owner.key == applications.ownBundleID()) return;
  auto family = std::ranges::find(families, owner.key, &PendingAppFamily::bundleID);
  if (family == families.end()) {
    PendingAppFamily fresh{member.pid, owner.key, FamilyRules::familyName(owner.key), "", {}};
    if (owner.key == FamilyRules::kSystemSoundsKey)
      fresh.icon = kBellIcon;
    else if (owner.key == FamilyRules::kCallAudioKey)
      fresh.icon = applications.iconForBundleID(kCallApplication).value_or(kPhoneIcon);
    else if (owner.key != FamilyRules::kSiriKey)
      fresh.icon = applications.iconForBundleID(owner.key).value_or("");
    families.push_back(std::move(fresh));
    family = families.end() - 1;
  }
  family->audioObjectIDs.push_back(member.object);
  if (!owner.application) return;
  // The first application names the family; one that shows nothing yields to a regular one.
  const bool isRegular = owner.application->policy != ActivationPolicy::prohibited;
  const auto known = hasRegularOwner.find(owner.key);
  if (known != hasRegularOwner.end() && (known->second || !isRegular)) return;
  hasRegularOwner[owner.key] = isRegular;
  family->id = owner.application->pid;
  if (!owner.application->localizedName.empty()) family->name = owner.application->localizedName;
  if (!owner.application->icon.empty()) family->icon = owner.application->icon;
}

std::optional<std::vector<PendingAppFamily>> AppDiscovery::readFamilies() {
  const auto objects = context_.hardware().processObjects();
  if (!objects) return std::nullopt;
  std::erase_if(members_, [&](const auto& known) {
    return std::ranges::find(*objects, known.first) == objects->end();
  });
  std::vector<PendingAppFamily> families;
  std::map<std::string, bool> hasRegularOwner;
  std::set<AudioObjectID> webKitObjects;
  AudioObjectID callDaemon = kAudioObjectUnknown;
  for (const AudioObjectID object : *objects) {
    const auto member = readMember(object);
    if (!member || !isForeign(*member)) continue;
    if (FamilyRules::isWebKitProcess(member->bundleID)) webKitObjects.insert(object);
    if (member->bundleID == FamilyRules::kCallAudioKey) callDaemon = object;
    addMember(families, hasRegularOwner, *member);
  }
  watchWebKit(webKitObjects);
  watchCallAudio(callDaemon);
  return families;
}

// Content processes come and go from the output without any change of the list.
void AppDiscovery::watchWebKit(const std::set<AudioObjectID>& present) {
  std::erase_if(webKitOutputListeners_, [&](const auto& entry) { return !present.contains(entry.first); });
  for (const AudioObjectID object : present)
    if (PropertyListener& listener = webKitOutputListeners_[object]; !listener)
      listen(listener, object, AudioProperty::isRunningOutput, [this] { scheduleRefresh(); });
}

void AppDiscovery::watchCallAudio(AudioObjectID daemon) {
  if (daemon != callAudioListenerObject_) {
    callAudioListener_.stop();
    callAudioListenerObject_ = daemon;
    if (daemon != kAudioObjectUnknown)
      listen(callAudioListener_, daemon, AudioProperty::isRunningOutput, [this] { readCallState(); });
  }
  readCallState();
}

void AppDiscovery::readCallState() {
  const bool isActive = callAudioListenerObject_ != kAudioObjectUnknown &&
                        context_.hardware().processIsRunningOutput(callAudioListenerObject_).value_or(false);
  callStateChanged(isActive);
}

}  // namespace sonmere
