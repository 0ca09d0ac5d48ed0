#include "cli/Tell.h"

#include <fmt/format.h>

#include "base/PrintableText.h"

namespace sonmere {

int tell(std::string_view command, int status, std::string_view text) {
  fmt::print(stderr, "sonmere{}{}: {}\n", command.empty() ? "" : " ", command, printable(text));
  return status;
}

}  // namespace sonmere
