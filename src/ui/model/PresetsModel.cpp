#include "ui/model/PresetsModel.h"

#include <QDir>
#include <QFile>

#include "app/PlatformFolders.h"
#include "control/ControlCodec.h"
#include "control/RuleCodec.h"

namespace sonmere {
namespace {

// How the equaliser of a scope is asked for and set.
struct Place {
  std::string get, set;
  ControlJSON params;
  ControlJSON::json_pointer equaliser;  // in what `get` answers
};

Place placeOf(const QString& scope) {
  if (scope == QLatin1String("output"))
    return {"mixer", "mixer.outputEqualiser", ControlJSON::object(),
            ControlJSON::json_pointer("/outputEqualiser")};
  const ControlJSON::json_pointer own("/equaliser");
  if (scope == QLatin1String("mic")) return {"input", "mic.equaliser", ControlJSON::object(), own};
  const QString of = scope.section(QLatin1Char(':'), 1);
  if (scope.startsWith(QLatin1String("bus:"))) return {"bus", "bus.equaliser", {{"bus", of.toInt()}}, own};
  return {"app", "equaliser", {{"app", of.toStdString()}}, own};
}

PresetsModel::Entry describe(const std::string& name) {
  PresetsModel::Entry entry{QString::fromStdString(name), false, 0, {}};
  const auto read = openPreset(name);
  if (!read) {
    entry.problem = QString::fromStdString(read.error().description);
  } else if (const auto* routing = read->preset.routing()) {
    entry.isRouting = true;
    entry.apps = static_cast<int>(routing->size());
  }
  return entry;
}

}  // namespace

PresetsModel::PresetsModel(ServiceLink& link) : TopicModel(link), link_(link) {
  connect(&watcher_, &QFileSystemWatcher::directoryChanged, this, &PresetsModel::refresh);
  connect(&link, &ServiceLink::stateChanged, this, &PresetsModel::refresh);
}

// A folder that is not there yet is watched once it is.
void PresetsModel::refresh() {
  const QString folder = QString::fromStdString(userPresetsFolder());
  if (watcher_.directories().isEmpty() && QDir(folder).exists()) watcher_.addPath(folder);
  entries_.clear();
  for (const std::string& name : presetNames()) entries_.push_back(describe(name));
  emit changed();
}

void PresetsModel::refuse(const Error& error) {
  emit answered(QString::fromStdString(error.description), true);
}

void PresetsModel::keep(const Preset& preset, const std::vector<std::string>& notes) {
  // What a name with a slash or an ending leads to is a file elsewhere.
  if (presetFile(preset.name).parent_path() != userPresetsFolder())
    return emit answered(tr("\"%1\" is no name for a preset.").arg(QString::fromStdString(preset.name)),
                         true);
  if (const auto saved = savePreset(preset, preset.name, false); !saved) return refuse(saved.error());
  QStringList lines;
  for (const std::string& note : notes) lines << QString::fromStdString(note);
  refresh();
  emit answered(lines.join(QLatin1Char('\n')), false);
}

void PresetsModel::loadRouting(const Preset& preset) {
  const ControlJSON profile{{"name", preset.name}, {"apps", encodeRouting(*preset.routing())}};
  link_.call("profile.put", profile, [this, name = preset.name](const Outcome<ControlJSON>& put) {
    put ? call("profile.apply", {{"name", name}}) : refuse(put.error());
  });
}

void PresetsModel::load(const QString& name, const QString& scope) {
  const auto read = openPreset(name.toStdString());
  if (!read) return refuse(read.error());
  if (read->preset.routing()) return loadRouting(read->preset);
  Place place = placeOf(scope);
  place.params["equaliser"] = encodeControl(*read->preset.equaliser());
  call(place.set, place.params);
}

void PresetsModel::save(const QString& name, const QString& scope) {
  const std::string given = name.toStdString();
  if (scope == QLatin1String("routing"))
    return link_.call("routing.apps", ControlJSON::object(), [this, given](const Outcome<ControlJSON>& told) {
      const auto routing = told ? decodeRouting(told->value("apps", ControlJSON::array()))
                                : Outcome<std::vector<AppProfileEntry>>(std::unexpected(told.error()));
      routing ? keep({given, *routing}) : refuse(routing.error());
    });
  const Place place = placeOf(scope);
  link_.call(place.get, place.params, [this, given, at = place.equaliser](const Outcome<ControlJSON>& told) {
    if (!told) return refuse(told.error());
    const auto equaliser = decodeEqualiser(told->contains(at) ? told->at(at) : ControlJSON());
    equaliser ? keep({given, *equaliser}) : refuse(equaliser.error());
  });
}

void PresetsModel::import(const QString& path) {
  auto read = openPreset(path.toStdString());
  if (!read) return refuse(read.error());
  read->preset.name = presetFile(read->preset.name).stem().string();
  keep(read->preset, read->notes);
}

void PresetsModel::remove(const QString& name) {
  QFile file(QString::fromStdString(presetFile(name.toStdString()).string()));
  const bool isGone = file.moveToTrash();
  refresh();
  emit answered(isGone ? QString() : tr("%1 could not be moved to the trash.").arg(file.fileName()), !isGone);
}

}  // namespace sonmere
