#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Error.h"
#include "base/Log.h"
#include "base/Runtime.h"
#include "base/SettingsStore.h"

namespace sonmere {

// Where the settings live: $SONMERE_SETTINGS, else "sonmere/settings.json" under $XDG_CONFIG_HOME or
// ~/.config. Where HOME is no absolute path, that of the user's account.
std::filesystem::path defaultSettingsPath();

// Settings in one JSON file. It is read once, here; later writes of other processes are kept in the file but
// not seen. Writes reach the file soon after, on a queue of their own, together with what came shortly after
// them; a write that fails is told once in the log and tried again. Main thread, but `object` and `keys`
// may be called from any.
class FileSettingsStore final : public SettingsStore {
 public:
  FileSettingsStore(Runtime& runtime, Log& log, const std::filesystem::path& path);
  // Writes what is still unwritten. Where the file can't be written, as while another program holds its lock,
  // the changes are kept beside it for the next start.
  ~FileSettingsStore() override;

  std::optional<SettingsValue> object(std::string_view key) const override;
  void set(std::string_view key, SettingsValue value) override;
  void remove(std::string_view key) override;
  std::vector<std::string> keys() const override;

  // Why the file could not be read, so that the defaults apply; nothing when it could.
  const std::optional<Error>& loadError() const { return loadError_; }

  // Writes what is still unwritten, now.
  Outcome<void> synchronize();

 private:
  struct State;
  std::shared_ptr<State> state_;
  std::optional<Error> loadError_;
};

}  // namespace sonmere
