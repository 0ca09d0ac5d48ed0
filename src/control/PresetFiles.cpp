#include "control/PresetFiles.h"

#include <fmt/format.h>

#include <algorithm>

#include "app/PlatformFolders.h"
#include "base/AtomicFile.h"
#include "control/VolumeText.h"

namespace sonmere {

namespace fs = std::filesystem;

namespace {

constexpr const char* kEnding = ".json";

bool isPath(const std::string& text) {
  return text.find('/') != std::string::npos || text.ends_with(kEnding) || text.ends_with(".txt");
}

}  // namespace

fs::path presetFile(const std::string& nameOrPath) {
  if (isPath(nameOrPath)) return nameOrPath;
  return fs::path(userPresetsFolder()) / (nameOrPath + kEnding);
}

Outcome<ReadPreset> openPreset(const std::string& nameOrPath) {
  const fs::path file = presetFile(nameOrPath);
  const auto text = readWholeFile(file);
  if (!text && text.error().code == ENOENT && !isPath(nameOrPath))
    return std::unexpected(
        Error{kArgumentErrorDomain, 1, fmt::format("there is no preset \"{}\"", nameOrPath)});
  if (!text) return std::unexpected(text.error());
  auto preset = readPreset(*text, file.stem().string());
  if (preset) return preset;
  return std::unexpected(
      Error{kArgumentErrorDomain, 1,
            fmt::format("{} can't be used: {}", file.string(), preset.error().description)});
}

Outcome<fs::path> savePreset(const Preset& preset, const std::string& nameOrPath, bool replaces) {
  const fs::path file = presetFile(nameOrPath);
  std::error_code ignored;
  if (!replaces && fs::exists(fs::symlink_status(file, ignored)))
    return std::unexpected(Error{kArgumentErrorDomain, kPresetExists, file.string() + " exists"});
  if (!isPath(nameOrPath))
    if (auto made = createFolders(file.parent_path()); !made) return std::unexpected(made.error());
  if (auto written = writeFileAtomically(file, encodePreset(preset), 0644); !written)
    return std::unexpected(written.error());
  return file;
}

std::vector<std::string> presetNames() {
  std::vector<std::string> names;
  std::error_code ignored;
  for (fs::directory_iterator entry(userPresetsFolder(), ignored), end; entry != end;
       entry.increment(ignored))
    if (entry->path().extension() == kEnding) names.push_back(entry->path().stem().string());
  std::ranges::sort(names);
  return names;
}

}  // namespace sonmere
