#include "cli/CareCommands.h"

#include <fmt/format.h>
#include <stdlib.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>

#include "app/PlatformFeedback.h"
#include "app/ProgramVersion.h"
#include "app/UpdateWatch.h"
#include "cli/ArgumentText.h"
#include "cli/ExitStatus.h"
#include "cli/JSONMembers.h"
#include "cli/JSONOutput.h"
#include "cli/RemoteCall.h"
#include "cli/ReportArchive.h"
#include "cli/SettingsCommand.h"
#include "cli/Tell.h"
#include "cli/TextTable.h"

namespace sonmere {

namespace {

struct Arguments {
  std::string word;
  bool isFull = false;
  bool json = false;
};
using Given = std::shared_ptr<Arguments>;

int checkForUpdate(const Given& a) {
  const auto offer = fetchUpdate(updateFeed());
  if (!offer) return tell("update check", kExitFailure, offer.error().description);
  const bool isNewer = isNewerVersion(offer->version, kProgramVersion);
  if (a->json) {
    printJSON({{"programVersion", kProgramVersion},
               {"newer", isNewer},
               {"offered", offer->version},
               {"url", offer->url},
               {"notes", offer->notes}});
  } else if (isNewer) {
    fmt::print("Version {} is there; this is {}.\n{}\n{}\n", offer->version, kProgramVersion, offer->notes,
               offer->url);
  } else {
    fmt::print("This is the newest version, {}.\n", kProgramVersion);
  }
  return kExitSuccess;
}

int dismissUpdate(const Given& a) {
  return runSettingsSet(UpdateWatch::kDismissedKey, '"' + a->word + '"', {.isForced = true});
}

std::string usageText(const ControlJSON& usage) {
  std::string text =
      fmt::format("Counting is {}; {}\n", flag(usage, "on") ? "on" : "off", textOf(usage, "file"));
  const ControlJSON counts = usage.value("counts", ControlJSON::object());
  if (counts.empty()) return text + "Nothing is counted.\n";
  TextTable table({{"since " + textOf(usage, "since")}, {"times", TextTable::Align::right}});
  for (const auto& [method, count] : counts.items()) table.add({method, count.dump()});
  return text + table.text();
}

int usage(const Given& a) {
  std::string method = "usage";
  ControlJSON params = ControlJSON::object();
  if (a->word == "clear") {
    method = "usage.clear";
  } else if (!a->word.empty()) {
    const auto on = readSwitch("usage", a->word, "on, off or clear");
    if (!on) return RemoteCall("usage").fail(on.error());
    method = "usage.enable";
    params["enabled"] = *on;
  }
  return RemoteCall("usage").ask(method, params, [&](const ControlJSON& result) {
    a->json ? printJSON(result) : fmt::print("{}", usageText(result));
  });
}

// The file stays: the mail program reads it when it likes.
int feedback(const Given& a) {
  std::string folder = (std::filesystem::temp_directory_path() / "sonmere-feedback-XXXXXX").string();
  if (!::mkdtemp(folder.data()))
    return tell("feedback", kExitFailure, posixError(errno, "make " + folder).description);
  const std::string archive = folder + "/sonmere-report.tar";
  if (const int status = archiveReport(archive, a->isFull, a->json); status != kExitSuccess) return status;
  const auto opened = composeFeedback(archive, feedbackAddress());
  return opened ? int(kExitSuccess)
                : tell("feedback", kExitFailure,
                       fmt::format("{}; the archive is {}", opened.error().description, archive));
}

void addUpdate(CLI::App& app, std::function<int()>& run, const Given& a) {
  CLI::App* update =
      app.add_subcommand("update", "Whether there is a newer version; asked only when you say so");
  update->require_subcommand(1);
  CLI::App* check = update->add_subcommand(
      "check", "Ask the feed that the package names; the setting sonmere.updateCheck does it once a day");
  check->add_flag("--json", a->json, "Print one JSON object");
  check->callback([a, &run] { run = [a] { return checkForUpdate(a); }; });
  CLI::App* dismiss = update->add_subcommand("dismiss", "Don't hear of a version any more");
  dismiss->add_option("VERSION", a->word, "As update check says it")->required();
  dismiss->callback([a, &run] { run = [a] { return dismissUpdate(a); }; });
}

}  // namespace

void addCareCommands(CLI::App& app, std::function<int()>& run) {
  const auto a = std::make_shared<Arguments>();
  addUpdate(app, run, a);
  CLI::App* counts = app.add_subcommand(
      "usage",
      "How often what was used: counted on this machine, for you alone, and only once you turn it on");
  counts->add_option("on|off|clear", a->word,
                     "Turn it on or off, or forget all; without it the counts are shown");
  counts->add_flag("--json", a->json, "Print one JSON object");
  counts->callback([a, &run] { run = [a] { return usage(a); }; });
  CLI::App* mail = app.add_subcommand(
      "feedback", "Begin a mail in your mail program with the report archive attached; you send it, or not");
  mail->add_flag("--full", a->isFull, "With names of user and machine, paths and titles");
  mail->callback([a, &run] { run = [a] { return feedback(a); }; });
}

}  // namespace sonmere
