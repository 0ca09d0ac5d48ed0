#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "audio/engine/EngineContext.h"
#include "audio/playback/PlaybackEngine.h"
#include "editor/EditorEngine.h"

namespace sonmere {

// Lets a playhead that is dragged be heard: a short piece of each audible track at every place where it
// lingers. Main thread.
class ScrubAudioPlayer {
 public:
  struct Track {
    std::shared_ptr<EditorEngine> engine;
    std::int64_t frame = 0;  // of the track's file
  };
  static constexpr double kPieceSeconds = 0.06;

  explicit ScrubAudioPlayer(EngineContext& context) : context_(context) {}

  // Whether a track, known by its path, is to be heard. Without one all are.
  std::function<bool(const std::string& url)> isAudibleProvider;

  // Plays a piece from there on. While one sounds, the latest place waits for its end.
  void scrub(std::vector<Track> tracks);
  void stop();

 private:
  void play();
  bool prepareOutput();

  EngineContext& context_;
  std::unique_ptr<PlaybackEngine> audioEngine_;  // from the first piece on
  std::vector<Track> next_;
  bool isSounding_ = false;
};

}  // namespace sonmere
