#pragma once

#include <QFileSystemWatcher>
#include <vector>

#include "control/PresetFiles.h"
#include "ui/model/TopicModel.h"

namespace sonmere {

// The user's presets, which are files: they are watched, and what is loaded goes to the service.
//
// A scope is whose equaliser it is: "app:ID", "bus:N", "mic" or "output"; or "routing", for which a preset
// holds the routes of all apps.
class PresetsModel : public TopicModel {
  Q_OBJECT

 public:
  explicit PresetsModel(ServiceLink& link);

  struct Entry {
    QString name;
    bool isRouting = false;
    int apps = 0;     // of a routing
    QString problem;  // why it can't be used
  };
  const std::vector<Entry>& entries() const { return entries_; }

  // A routing needs no scope.
  void load(const QString& name, const QString& scope);
  // What holds there now. Refused where there is one of that name.
  void save(const QString& name, const QString& scope);
  // A preset that somebody gave away, or the text of a parametric equaliser.
  void import(const QString& path);
  // To the trash.
  void remove(const QString& name);

 private:
  void refresh();
  void keep(const Preset& preset, const std::vector<std::string>& notes = {});
  void refuse(const Error& error);
  void loadRouting(const Preset& preset);

  ServiceLink& link_;
  QFileSystemWatcher watcher_;
  std::vector<Entry> entries_;
};

}  // namespace sonmere
