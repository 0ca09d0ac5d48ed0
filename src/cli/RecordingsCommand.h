#pragma once

#include <optional>
#include <string>
#include <vector>

namespace sonmere {

struct RecordingsArguments {
  std::optional<std::string> folder;  // in place of that of the settings
  std::string file;
  std::string name;
  std::vector<std::string> files;
  std::optional<std::string> newName;  // of an import
  std::optional<std::string> session;
  std::string platform = "auto";
  std::optional<std::string> newFolder;
  bool useDefault = false;
  bool dropStamp = false;
  bool json = false;
};

// "sonmere recordings ...": each returns the exit status. Main thread.
int runRecordingsList(const RecordingsArguments& arguments);
int runRecordingsScan(const RecordingsArguments& arguments);
int runRecordingsRepair(const RecordingsArguments& arguments);
int runRecordingsRename(const RecordingsArguments& arguments);
int runRecordingsImport(const RecordingsArguments& arguments);
int runRecordingsDelete(const RecordingsArguments& arguments);
int runRecordingsRestore(const RecordingsArguments& arguments);
int runRecordingsFolder(const RecordingsArguments& arguments);

}  // namespace sonmere
