#include "cli/RoutesCommands.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>

#include "cli/ExitStatus.h"
#include "cli/JSONMembers.h"
#include "cli/JSONOutput.h"
#include "cli/RemoteCall.h"
#include "cli/RoutesPrinter.h"

namespace sonmere {

namespace {

int exitStatusOf(const ControlJSON& routes) {
  const std::string worst = textOf(routes, "worst");
  return worst == "broken" ? kExitBroken : worst == "degraded" ? kExitDegraded : kExitSuccess;
}

int ask(const char* command, const char* method, bool json) {
  int worst = kExitSuccess;
  const int status = RemoteCall(command).ask(method, {}, [&](const ControlJSON& routes) {
    json ? printJSON(routes) : fmt::print("{}", routesText(routes));
    worst = exitStatusOf(routes);
  });
  return status == kExitSuccess ? worst : status;
}

}  // namespace

void addRoutesCommands(CLI::App& app, std::function<int()>& run) {
  const auto json = std::make_shared<bool>(false);
  const auto add = [&](CLI::App& parent, const char* name, const char* help, const char* command,
                       const char* method) {
    CLI::App* one = parent.add_subcommand(name, help);
    one->add_flag("--json", *json, "Print JSON");
    one->callback([json, &run, command, method, one] {
      if (one->get_subcommands().empty())
        run = [json, command, method] { return ask(command, method, *json); };
    });
    return one;
  };
  CLI::App* routes = add(app, "routes",
                         "How every route fares, with advice; the exit status is 3 when one is degraded, 4 "
                         "when one is broken",
                         "routes", "routes");
  routes->require_subcommand(0, 1);
  add(*routes, "check", "Have what is missing asked for again", "routes check", "routes.check");
  add(*routes, "reset", "Make every route anew", "routes reset", "routes.reset");
}

}  // namespace sonmere
