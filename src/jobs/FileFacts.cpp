#include "jobs/FileFacts.h"

#include <filesystem>

#include "audio/file/AudioFileReader.h"
#include "editor/track/TrackReader.h"

namespace sonmere {

Outcome<FileFacts> factsOf(const std::string& path) {
  const auto reader = openAudioFile(path);
  if (!reader) return std::unexpected(reader.error());
  auto whole = wholeFile(path);
  if (!whole) return std::unexpected(whole.error());
  std::error_code ignored;
  return FileFacts{std::move(*whole), (*reader)->container(), (*reader)->details(), (*reader)->format(),
                   std::filesystem::file_size(path, ignored)};
}

}  // namespace sonmere
