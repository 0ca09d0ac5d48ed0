#pragma once

#include <string>
#include <vector>

#include "app/ToneFerryApp.h"
#include "control/ProfileState.h"

namespace sonmere {

// The saved routings, by name (in any case of its letters) or identifier. Main thread.
class ProfileControl {
 public:
  explicit ProfileControl(ToneFerryApp& app) : app_(app) {}

  std::vector<ProfileState> list() const;
  // The longest name, in bytes of UTF-8.
  static constexpr std::size_t kLongestName = 200;
  // The routing of this moment. A name that is taken, longer, or has a control character is refused.
  Outcome<ProfileState> save(const std::string& name);
  // A routing that comes from elsewhere, in place of the profile of that name, if there is one.
  Outcome<ProfileState> put(const std::string& name, std::vector<AppProfileEntry> apps);
  // What a profile would take now.
  std::vector<AppProfileEntry> present() const { return app_.appTapEngine()->routedApps(); }
  // The apps of one, with bus, volume and mute.
  Outcome<std::vector<AppProfileEntry>> entries(const std::string& name) const;
  Outcome<ProfileState> apply(const std::string& name);
  Outcome<ProfileState> remove(const std::string& name);

 private:
  Outcome<ProfileState> find(const std::string& name) const;

  ToneFerryApp& app_;
};

}  // namespace sonmere
