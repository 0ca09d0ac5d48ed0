#pragma once

namespace sonmere {

// The window that an editor is shown in, as far as keys are concerned. Main thread.
class EditorWindow {
 public:
  virtual ~EditorWindow() = default;
  // Whether keys go to it now.
  virtual bool isKey() const = 0;
};

}  // namespace sonmere
