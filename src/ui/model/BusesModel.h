#pragma once

#include <QObject>
#include <QStringList>
#include <vector>

#include "ui/model/ServiceLink.h"
#include "ui/widgets/RouteButton.h"

namespace sonmere {

// The bridge and the eight Tracks, by the names that the user gave them.
class BusesModel : public QObject {
  Q_OBJECT

 public:
  explicit BusesModel(ServiceLink& link);

  const std::vector<RouteTarget>& routable() const { return routable_; }
  QString nameOf(int bus) const;
  // What the user called a Track; empty where it has its own name.
  QString givenName(int bus) const;
  // Identifiers of the apps that play into it now.
  QStringList appsIn(int bus) const;
  // An empty name gives a Track its own again.
  void rename(int bus, const QString& name);

 signals:
  void changed();
  // Why a name was refused, or what is to be told of it.
  void answered(const QString& text, bool isRefusal);

 private:
  void take(Topic topic, const TopicJSON& value);
  void fill();

  ServiceLink& link_;
  std::map<int, QString> given_;
  std::map<int, QStringList> apps_;
  std::vector<RouteTarget> routable_;
};

}  // namespace sonmere
