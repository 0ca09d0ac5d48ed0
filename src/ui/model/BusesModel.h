#pragma once

#include <QObject>
#include <vector>

#include "ui/model/ServiceLink.h"
#include "ui/widgets/RouteButton.h"

namespace sonmere {

// The bridge and the eight Tracks.
class BusesModel : public QObject {
  Q_OBJECT

 public:
  BusesModel();

  const std::vector<RouteTarget>& routable() const { return routable_; }

 private:
  std::vector<RouteTarget> routable_;
};

}  // namespace sonmere
