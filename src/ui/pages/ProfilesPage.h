#pragma once

#include <QWidget>

#include "ui/widgets/RulesCard.h"

namespace sonmere {

class PresetsModel;

// What is kept of a routing for another time, what happens by itself, and presets as files.
class ProfilesPage : public QWidget {
  Q_OBJECT

 public:
  ProfilesPage(const RulesCard::Shown& models, PresetsModel& presets, QWidget* parent = nullptr);
};

}  // namespace sonmere
