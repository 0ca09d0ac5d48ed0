#include "cli/Tell.h"

#include <fmt/format.h>

#include <cstdio>

#include "cli/ExitStatus.h"
#include "cli/JSONOutput.h"

namespace sonmere {

namespace {

bool isToldAsJSON = false;

const char* codeOf(int status) {
  if (status == kExitBadInput) return "badInput";
  return status > kExitSignalled ? "interrupted" : "failed";
}

std::string json(std::string_view command, int status, std::string_view text, std::string_view code) {
  OutputJSON said = OutputJSON::object();
  if (status != kExitSuccess) said["code"] = code.empty() ? std::string(codeOf(status)) : std::string(code);
  said["message"] = std::string(text);
  said["command"] = std::string(command);
  return jsonLineText({{status == kExitSuccess ? "note" : "error", said}});
}

}  // namespace

int tell(std::string_view command, int status, std::string_view text, std::string_view code) {
  const std::string line =
      isToldAsJSON ? json(command, status, text, code)
                   : fmt::format("sonmere{}{}: {}\n", command.empty() ? "" : " ", command, printable(text));
  // Not fmt::print, which throws where nobody reads.
  std::fputs(line.c_str(), stderr);
  return status;
}

void tellAsJSON(bool isJSON) { isToldAsJSON = isJSON; }

}  // namespace sonmere
