#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "editor/EditorEngine.h"

namespace sonmere {

// All of a session that edits change: what undo goes back to.
struct SessionEditState {
  struct Track {
    std::shared_ptr<EditorEngine> engine;
    std::optional<TrimRange> range;
    bool operator==(const Track&) const = default;
  };
  std::vector<Track> tracks;
  std::set<std::string> soloed, muted;  // paths of tracks

  bool operator==(const SessionEditState&) const = default;
};

// What one edit changes. The field counts for trims only.
struct SessionEdit {
  enum class Kind { trim, solo, mute, addTrack };
  Kind kind = Kind::trim;
  std::string url;  // of the track
  EditorEngine::Field field = EditorEngine::Field::gain;

  bool operator==(const SessionEdit&) const = default;
};

}  // namespace sonmere
