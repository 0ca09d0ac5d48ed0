#include "control/ProfileControl.h"

#include <fmt/format.h>
#include <strings.h>

#include <algorithm>

#include "audio/device/BusTable.h"
#include "base/PrintableText.h"
#include "control/ControlError.h"

namespace sonmere {

namespace {

ProfileState describe(const RoutingProfile& profile) {
  ProfileState state{profile.id, profile.name, {}};
  for (const AppProfileEntry& app : profile.apps) state.apps.push_back(app.bundleID);
  return state;
}

Outcome<void> checkName(const std::string& name) {
  const auto refuse = [](std::string text) {
    return std::unexpected(controlError(ControlFault::badValue, std::move(text)));
  };
  if (name.find_first_not_of(' ') == std::string::npos) return refuse("the profile's name is empty");
  if (name.size() > ProfileControl::kLongestName)
    return refuse(fmt::format("the profile's name is too long: {} bytes, and {} at most", name.size(),
                              ProfileControl::kLongestName));
  if (printable(name) != name) return refuse("the profile's name has a character that can't be shown");
  return {};
}

}  // namespace

std::vector<ProfileState> ProfileControl::list() const {
  std::vector<ProfileState> all;
  for (const RoutingProfile& profile : *app_.appTapEngine()->profiles()) all.push_back(describe(profile));
  return all;
}

Outcome<ProfileState> ProfileControl::find(const std::string& name) const {
  const auto all = list();
  const auto found = std::ranges::find_if(all, [&](const ProfileState& profile) {
    return profile.id == name || strcasecmp(profile.name.c_str(), name.c_str()) == 0;
  });
  if (found != all.end()) return *found;
  return std::unexpected(
      controlError(ControlFault::notFound, fmt::format("there is no profile \"{}\"", name)));
}

Outcome<ProfileState> ProfileControl::save(const std::string& name) {
  if (const auto checked = checkName(name); !checked) return std::unexpected(checked.error());
  if (find(name))
    return std::unexpected(
        controlError(ControlFault::badValue, fmt::format("there is a profile \"{}\" already", name)));
  if (const auto saved = app_.appTapEngine()->saveProfile(name)) return describe(*saved);
  return std::unexpected(controlError(ControlFault::badValue, "the profile's name is empty"));
}

Outcome<ProfileState> ProfileControl::put(const std::string& name, std::vector<AppProfileEntry> apps) {
  if (const auto checked = checkName(name); !checked) return std::unexpected(checked.error());
  for (const AppProfileEntry& each : apps)
    if (each.bundleID.empty() || !isRoutableBus(each.busIndex) || !(each.volume >= 0 && each.volume <= 4))
      return std::unexpected(controlError(ControlFault::badValue,
                                          fmt::format("the route of \"{}\" can't be used", each.bundleID)));
  if (const auto old = find(name)) app_.appTapEngine()->deleteProfile(old->id);
  if (const auto saved = app_.appTapEngine()->addProfile(name, std::move(apps))) return describe(*saved);
  return std::unexpected(controlError(ControlFault::badValue, "the profile's name is empty"));
}

Outcome<std::vector<AppProfileEntry>> ProfileControl::entries(const std::string& name) const {
  const auto found = find(name);
  if (!found) return std::unexpected(found.error());
  for (const RoutingProfile& profile : *app_.appTapEngine()->profiles())
    if (profile.id == found->id) return profile.apps;
  return std::vector<AppProfileEntry>{};
}

Outcome<ProfileState> ProfileControl::apply(const std::string& name) {
  const auto profile = find(name);
  if (!profile) return profile;
  if (app_.appTapEngine()->applyProfile(profile->id)) return profile;
  return std::unexpected(controlError(
      ControlFault::failed, fmt::format("the profile \"{}\" could not be applied in full: {}", profile->name,
                                        app_.appTapEngine()->errorMessage()->value_or("no reason given"))));
}

Outcome<ProfileState> ProfileControl::remove(const std::string& name) {
  const auto profile = find(name);
  if (profile) app_.appTapEngine()->deleteProfile(profile->id);
  return profile;
}

}  // namespace sonmere
