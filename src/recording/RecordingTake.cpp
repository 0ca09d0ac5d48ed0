#include "recording/RecordingTake.h"

#include <filesystem>

namespace sonmere {

void RecordingTake::undo() {
  std::error_code ignored;
  for (const auto& recorder : recorders_) std::filesystem::remove(recorder->outputPath(), ignored);
  recorders_.clear();
}

}  // namespace sonmere
