#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "audio/device/DriverInstaller.h"

namespace sonmere {

// The virtual driver as files in the user's configuration of audio server and session manager. Each bears a
// last line with the version that installed it and a checksum, by which an edited one is known. Everything is
// written beside its place before the first file moves there, and moves are taken back when one fails; what a
// killed process left is swept by the next change.
class DriverDropIns final : public DriverInstaller {
 public:
  struct Places {
    std::string bundle;   // the folder "driver" of the program's resources
    std::string config;   // the user's folder of configurations; empty: there is none
    std::string version;  // of this program
  };
  // Called before each operation on the disk, which fails where it does.
  using BeforeStep = std::function<Outcome<void>(const std::filesystem::path&)>;

  explicit DriverDropIns(Places places, BeforeStep beforeStep = {});

  DriverOnDisk look() const override;
  Outcome<DriverChange> install() override;
  Outcome<DriverChange> remove() override;

 private:
  class Change;
  enum class FileState { absent, whole, old, edited };
  struct File {
    std::filesystem::path path;
    std::string bundled;  // the text, without the last line
    std::string comment;  // what begins one
    FileState state = FileState::absent;
    std::string version;  // of the one that is installed
  };

  Outcome<std::vector<File>> files() const;
  Outcome<File> fileAt(const char* inBundle, const char* inConfig) const;
  Outcome<void> inspect(File& file) const;
  std::string stamped(const File& file) const;

  const Places places_;
  const BeforeStep beforeStep_;
};

}  // namespace sonmere
