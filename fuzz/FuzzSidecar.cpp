#include "fuzz/FuzzSidecar.h"

#include <cstdlib>

#include "editor/sidecar/SessionEditsCodec.h"
#include "editor/track/TrimEdit.h"

namespace sonmere {

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

bool everythingExists(const std::string&) { return true; }

void requireHeld(const PersistedTrackEdits& edits) {
  TrimRange range;
  range.startFrame = edits.trimStartFrame;
  range.endFrame = edits.trimEndFrame.value_or(1000);
  range.fadeInFrames = edits.fadeInFrames;
  range.fadeOutFrames = edits.fadeOutFrames;
  range.gainLinear = edits.gainLinear;
  const TrimRange held = TrimEdit::held(range, 1000, 48000);
  require(held.startFrame >= 0 && held.startFrame < held.endFrame && held.endFrame <= 1000);
  require(held.fadeInFrames >= 0 && held.fadeInFrames <= held.length());
  require(held.fadeOutFrames >= 0 && held.fadeOutFrames <= held.length());
  require(held.gainLinear >= 0 && held.gainLinear <= TrimEdit::kMaximumGain);
}

void requireRenamed(std::string_view json, const std::string& name, const PersistedTrackEdits& edits) {
  const std::string newName = name + "2";
  const auto renamed = SessionEditsCodec::withFileRenamed(json, name, newName);
  require(renamed.has_value());
  const auto tracks = SessionEditsCodec::decode(*renamed)->tracks;
  require(tracks.contains(newName) && tracks.at(newName) == edits && !tracks.contains(name));
}

}  // namespace

void fuzzSidecar(const std::uint8_t* data, std::size_t size) {
  const std::string_view json(reinterpret_cast<const char*>(data), size);
  auto edits = SessionEditsCodec::decode(json);
  if (!edits) {
    const auto fresh = SessionEditsCodec::decode(SessionEditsCodec::encode({}, json, everythingExists));
    require(fresh.has_value() && fresh->tracks.empty());
    return;
  }
  for (const auto& [name, track] : edits->tracks) requireHeld(track);
  if (!edits->tracks.empty())
    requireRenamed(json, edits->tracks.begin()->first, edits->tracks.begin()->second);
  std::erase_if(edits->addedTracks, [](const auto& list) { return list.second.empty(); });
  edits->schemaVersion = PersistedSessionEdits::kSchemaVersion;
  const std::string saved = SessionEditsCodec::encode(*edits, json, everythingExists);
  const auto again = SessionEditsCodec::decode(saved);
  require(again.has_value());
  // A list that was empty stays where nobody asks to change it.
  auto without = *again;
  std::erase_if(without.addedTracks, [](const auto& list) { return list.second.empty(); });
  require(without == *edits);
  require(SessionEditsCodec::encode(*edits, saved, everythingExists) == saved);
}

}  // namespace sonmere
