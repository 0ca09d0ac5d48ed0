#include "cli/RuleCommands.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>

#include "cli/ArgumentText.h"
#include "cli/ExitStatus.h"
#include "cli/GivenTrackNames.h"
#include "cli/JSONMembers.h"
#include "cli/JSONOutput.h"
#include "cli/RemoteCall.h"
#include "cli/RuleText.h"
#include "cli/TextTable.h"
#include "control/RuleCodec.h"

namespace sonmere {

namespace {

struct Arguments {
  std::string when, act, word;
  int rule = 0;
  bool json = false;
};
using Given = std::shared_ptr<Arguments>;

std::string stateOf(const ControlJSON& rule) {
  if (!flag(rule, "enabled")) return "off";
  if (const std::string problem = textOf(rule, "problem"); !problem.empty()) return problem;
  return flag(rule, "active") ? "in force" : "waits";
}

std::string rulesText(const ControlJSON& rules) {
  if (rules.empty()) return "There are no rules.\n";
  TextTable table({{"rule", TextTable::Align::right}, {"when"}, {"does"}, {"state"}});
  for (const ControlJSON& rule : rules)
    table.add({fmt::format("{:g}", number(rule, "rule")), textOf(rule, "reason"), textOf(rule, "does"),
               stateOf(rule)});
  return table.text();
}

int ask(const char* command, const Given& a, const std::string& method, const ControlJSON& params) {
  return RemoteCall(command).ask(method, params, [&](const ControlJSON& result) {
    const bool isList = result.is_array();
    if (a->json) return printJSON(isList ? ControlJSON{{"rules", result}} : result);
    fmt::print("{}", rulesText(isList ? result : ControlJSON::array({result})));
  });
}

int add(const Given& a) {
  const RemoteCall call("rule add");
  const auto reason = readReason(a->when);
  if (!reason) return call.fail(reason.error());
  const auto act = readAct(a->act, givenTrackNames);
  if (!act) return call.fail(act.error());
  const ControlJSON rule = encodeControl(Rule{0, *reason, *act, true});
  return ask("rule add", a, "rule.add", {{"when", rule["when"]}, {"act", rule["act"]}});
}

int enable(const Given& a) {
  const auto on = readSwitch("rule enable", a->word);
  if (!on) return RemoteCall("rule enable").fail(on.error());
  return ask("rule enable", a, "rule.enable", {{"rule", a->rule}, {"enabled", *on}});
}

}  // namespace

void addRuleCommands(CLI::App& app, std::function<int()>& run) {
  const auto a = std::make_shared<Arguments>();
  CLI::App* group = app.add_subcommand(
      "rule", "What is done by itself while an app runs, a device is there or the microphone is on");
  group->require_subcommand(1);
  const auto command = [&](const char* name, const char* help, std::function<int()> work) {
    CLI::App* one = group->add_subcommand(name, help);
    one->add_flag("--json", a->json, "Print JSON");
    one->callback([&run, work = std::move(work)] { run = work; });
    return one;
  };
  command("list", "The rules, and which are in force",
          [a] { return ask("rule list", a, "rules", ControlJSON::object()); });
  CLI::App* adding = command(
      "add", "Make one; what it does is taken back when its reason ends, unless you changed it meanwhile",
      [a] { return sonmere::add(a); });
  adding->add_option("--when", a->when, std::string("The reason: ") + kReasonForm)
      ->required()
      ->type_name("REASON");
  adding->add_option("--do", a->act, std::string("What is done: ") + kActForm)->required()->type_name("ACT");
  command("remove", "Take one away, and back what it has done",
          [a] {
            return ask("rule remove", a, "rule.remove", {{"rule", a->rule}});
          })
      ->add_option("RULE", a->rule, "Its number")
      ->required();
  CLI::App* enabling = command("enable", "Turn one on or off", [a] { return enable(a); });
  enabling->add_option("RULE", a->rule, "Its number")->required();
  enabling->add_option("on|off", a->word, "on or off")->required();
}

}  // namespace sonmere
