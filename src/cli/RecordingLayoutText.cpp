#include "cli/RecordingLayoutText.h"

#include <fmt/format.h>

#include "cli/ArgumentText.h"

namespace sonmere {

Outcome<RecordingLayout> readRecordingLayout(const std::string& argument, const std::string& text) {
  for (const RecordingLayout layout : kRecordingLayouts)
    if (!text.empty() && std::string_view(name(layout)).starts_with(text)) return layout;
  return badArgument(
      fmt::format("{}: \"{}\" is no layout; use mixed, dualMono or separateTracks", argument, text));
}

}  // namespace sonmere
