#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/TrackEditArguments.h"

namespace sonmere {

struct SessionArguments {
  std::string stamp;
  std::optional<std::string> folder;
  bool stems = false;  // else the mix
  std::string out;
  std::optional<std::string> format;
  bool loudness = false;
  // Of the tracks that are edited, or of the export as a whole.
  TrackEditArguments edit;
  std::vector<std::string> tracks;  // to be edited, by name or file
  bool all = false;                 // of them
  std::optional<bool> mute, solo;
  bool reset = false;
  bool force = false;
  bool json = false;
};

// "sonmere session show": the tracks of a session with their edits. Each returns the exit status. Main
// thread.
int runSessionShow(const SessionArguments& arguments);
// "sonmere session edit": changes the edits of tracks, in the file beside the recordings.
int runSessionEdit(const SessionArguments& arguments);
// "sonmere session export": their mix, or each by itself.
int runSessionExport(const SessionArguments& arguments);

}  // namespace sonmere
