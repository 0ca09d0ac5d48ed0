#include "cli/Tell.h"

#include <fmt/format.h>

#include <cstdio>

#include "base/PrintableText.h"

namespace sonmere {

int tell(std::string_view command, int status, std::string_view text) {
  // Not fmt::print, which throws where nobody reads.
  std::fputs(fmt::format("sonmere{}{}: {}\n", command.empty() ? "" : " ", command, printable(text)).c_str(),
             stderr);
  return status;
}

}  // namespace sonmere
