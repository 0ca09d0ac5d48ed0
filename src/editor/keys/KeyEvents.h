#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace sonmere {

// The key presses of the program, from the windows to whoever watches them. Main thread.
class KeyEvents {
 public:
  // Returns whether it has used the key, which then goes no further.
  using Monitor = std::function<bool(const std::string& key)>;
  // Ends the watching when it goes.
  using Handle = std::shared_ptr<const Monitor>;

  Handle addLocalMonitor(Monitor monitor) {
    auto handle = std::make_shared<const Monitor>(std::move(monitor));
    monitors_.push_back(handle);
    return handle;
  }
  // A window has got a key (in the form of EditorShortcuts); whether somebody used it.
  bool deliver(const std::string& key) {
    std::erase_if(monitors_, [](const auto& weak) { return weak.expired(); });
    for (const auto& weak : std::vector(monitors_))
      if (const Handle monitor = weak.lock(); monitor && (*monitor)(key)) return true;
    return false;
  }

 private:
  std::vector<std::weak_ptr<const Monitor>> monitors_;
};

}  // namespace sonmere
