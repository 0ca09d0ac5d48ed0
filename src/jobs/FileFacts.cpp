#include "jobs/FileFacts.h"

#include <filesystem>

#include "editor/track/TrackReader.h"
#include "recording/RecordingReader.h"

namespace sonmere {

Outcome<FileFacts> factsOf(const std::string& path) {
  const auto reader = openRecording(path);
  if (!reader) return std::unexpected(reader.error());
  auto whole = wholeFile(path);
  if (!whole) return std::unexpected(whole.error());
  std::error_code ignored;
  std::uint64_t bytes = std::filesystem::file_size(path, ignored);
  for (const std::string& part : laterRecordingParts(path))
    bytes += std::filesystem::file_size(part, ignored);
  return FileFacts{std::move(*whole), (*reader)->container(), (*reader)->details(), (*reader)->format(),
                   bytes};
}

}  // namespace sonmere
