#include "ui/model/StatusModel.h"

#include <algorithm>

#include "app/ProgramVersion.h"
#include "ui/model/Decode.h"

namespace sonmere {

StatusModel::StatusModel(ServiceLink& link) : link_(link) {
  connect(&link, &ServiceLink::told, this, &StatusModel::take);
}

void StatusModel::take(Topic topic, const TopicJSON& value) {
  const auto text = [](const TopicJSON& json, const char* name) {
    return QString::fromStdString(memberOr<std::string>(json, name, {}));
  };
  if (topic == Topic::devices) {
    devices_.clear();
    visitInOrder(value, "devices",
                 [this](const auto&, const TopicJSON& device) { devices_.push_back(decodeDevice(device)); });
  } else if (topic == Topic::routes) {
    takeRoutes(value);
  } else if (topic == Topic::program) {
    program_ = tr("Sonmere %1 on %2. %3")
                   .arg(text(value, "version"), text(value, "platform"), text(value, "reason"));
    const QString version = text(value, "version"), own = QLatin1String(kProgramVersion);
    versionNote_ =
        version == own || version.isEmpty()
            ? QString()
            : tr("The Sonmere that runs is version %1, this window is %2. What both know works; to "
                 "have the rest, quit Sonmere and start it again.")
                  .arg(version, own);
  } else if (topic == Topic::routing || topic == Topic::mixer || topic == Topic::recording) {
    errors_[topic] = text(objectAt(value, "facts"), "error");
  } else {
    return;
  }
  describe();
  emit changed();
}

void StatusModel::takeRoutes(const TopicJSON& value) {
  routes_.clear();
  visitInOrder(value, "routes", [this](const auto&, const TopicJSON& route) {
    const auto text = [&](const char* name) { return memberOr<std::string>(route, name, {}); };
    routes_.push_back({text("id"), text("name"), text("verdict"), text("detail"), text("advice")});
  });
  isResetting_ = memberOr<bool>(objectAt(value, "facts"), "resetting", false);
}

RouteRow StatusModel::route(const std::string& id) const {
  const auto found = std::ranges::find(routes_, id, &RouteRow::id);
  return found == routes_.end() ? RouteRow{} : *found;
}

void StatusModel::resetRouting() {
  link_.call("routes.reset", ControlJSON::object(), [this](const Outcome<ControlJSON>& answer) {
    emit answered(answer ? QString() : QString::fromStdString(answer.error().description), !answer);
  });
}

void StatusModel::describe() {
  QStringList lines = {program_};
  for (const auto& [topic, error] : errors_) lines << error;
  lines.removeAll(QString());
  summary_ = lines.join(QLatin1Char('\n'));
}

void StatusModel::askForReport() {
  link_.call("report", ControlJSON::object(), [this](const Outcome<ControlJSON>& answer) {
    emit reportCame(QString::fromStdString(answer ? memberOr<std::string>(*answer, "text", {})
                                                  : answer.error().description));
  });
}

}  // namespace sonmere
