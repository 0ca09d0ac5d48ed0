#pragma once

#include "app/ToneFerryApp.h"
#include "control/LibraryState.h"

namespace sonmere {

// The recordings library of the program that runs. Main thread.
class LibraryControl {
 public:
  explicit LibraryControl(ToneFerryApp& app) : app_(app) {}

  LibraryState state() const {
    RecordingsLibrary& library = *app_.recordingsLibrary();
    return {*library.sessions, *library.folderInUse, *library.folderUnavailable, *library.isScanning};
  }

 private:
  ToneFerryApp& app_;
};

}  // namespace sonmere
