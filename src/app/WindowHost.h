#pragma once

namespace sonmere {

// What shows the main window, where there is one. Main thread.
class WindowHost {
 public:
  virtual ~WindowHost() = default;
  // Closes every visible main window; false when there was none yet.
  virtual bool closeMainWindows() = 0;
  virtual void useDarkAppearance() = 0;
};

}  // namespace sonmere
