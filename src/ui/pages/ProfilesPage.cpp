#include "ui/pages/ProfilesPage.h"

#include <QVBoxLayout>

#include "ui/widgets/PageLayouts.h"
#include "ui/widgets/PresetsCard.h"
#include "ui/widgets/ProfilesCard.h"

namespace sonmere {

ProfilesPage::ProfilesPage(const RulesCard::Shown& models, PresetsModel& presets, QWidget* parent)
    : QWidget(parent) {
  auto* content = new QWidget;
  auto* layout = new QVBoxLayout(content);
  layout->setContentsMargins(2 * kGrid, 2 * kGrid, 2 * kGrid, 2 * kGrid);
  layout->setSpacing(kGrid);
  layout->addWidget(new ProfilesCard(models.profiles));
  layout->addWidget(new RulesCard(models));
  layout->addWidget(new PresetsCard(presets, models.apps, models.buses));
  layout->addStretch(1);
  auto* whole = new QVBoxLayout(this);
  whole->setContentsMargins(0, 0, 0, 0);
  whole->addWidget(scrolled(content));
}

}  // namespace sonmere
