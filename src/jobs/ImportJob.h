#pragma once

#include <optional>
#include <string>

#include "base/Error.h"
#include "jobs/JobContext.h"

namespace sonmere {

// Makes a recording of any audio file, which stays as it is.
struct ImportRequest {
  std::string source;
  std::string folder;                  // of the recordings; exists
  std::optional<std::string> session;  // that it joins, as users write it; else one of its own, of now
  std::optional<std::string> name;     // what stands in front of the stamp; else as the source is called
};

// The path of the recording.
Outcome<std::string> importRecording(const ImportRequest& request, const JobContext& context);

}  // namespace sonmere
