#include "recording/RecordingTake.h"

#include <filesystem>

namespace sonmere {

void RecordingTake::undo() {
  std::error_code ignored;
  for (const auto& recorder : recorders_) std::filesystem::remove(recorder->outputPath(), ignored);
  for (const std::string& file : files_) std::filesystem::remove(file, ignored);
  recorders_.clear();
  files_.clear();
}

}  // namespace sonmere
