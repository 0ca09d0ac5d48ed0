#include "cli/DoctorCommand.h"

#include <fmt/format.h>

#include <algorithm>

#include "app/MachineCheck.h"
#include "app/PlatformMachine.h"
#include "cli/ExitStatus.h"
#include "cli/JSONOutput.h"

namespace sonmere {

namespace {

using Verdict = MachineFinding::Verdict;

void print(const std::vector<MachineFinding>& findings) {
  for (const MachineFinding& each : findings) {
    const char* const mark = each.verdict == Verdict::right   ? "ok   "
                             : each.verdict == Verdict::wrong ? "WRONG"
                                                              : "note ";
    fmt::print("{}  {}\n", mark, printable(each.text));
    if (!each.command.empty()) fmt::print("       {}\n", printable(each.command));
  }
}

OutputJSON toJSON(const std::vector<MachineFinding>& findings, Verdict worst) {
  OutputJSON all = OutputJSON::array();
  for (const MachineFinding& each : findings)
    all.push_back({{"id", each.id},
                   {"verdict", verdictText(each.verdict)},
                   {"text", each.text},
                   {"command", each.command}});
  return {{"worst", verdictText(worst)}, {"findings", all}};
}

}  // namespace

int runDoctor(bool json) {
  const auto findings = checkMachine(thisMachine());
  Verdict worst = Verdict::right;
  for (const MachineFinding& each : findings) worst = std::max(worst, each.verdict);
  json ? printJSON(toJSON(findings, worst)) : print(findings);
  return worst == Verdict::wrong ? kExitBroken : worst == Verdict::improvable ? kExitDegraded : kExitSuccess;
}

}  // namespace sonmere
