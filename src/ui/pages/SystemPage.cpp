#include "ui/pages/SystemPage.h"

#include <QVBoxLayout>

#include "ui/widgets/CombinedInputCard.h"
#include "ui/widgets/DAWCard.h"
#include "ui/widgets/MixCard.h"
#include "ui/widgets/PageLayouts.h"
#include "ui/widgets/SystemAudioCard.h"

namespace sonmere {

SystemPage::SystemPage(const Shown& models, QWidget* parent) : QWidget(parent) {
  auto* content = new QWidget;
  auto* layout = new QVBoxLayout(content);
  layout->setContentsMargins(2 * kGrid, 2 * kGrid, 2 * kGrid, 2 * kGrid);
  layout->setSpacing(kGrid);
  layout->addWidget(new SystemAudioCard(models.system, models.status));
  layout->addWidget(new MixCard(models.mix, models.monitor, models.system, models.buses));
  layout->addWidget(new DAWCard(models.daw));
  layout->addWidget(new CombinedInputCard(models.combined, models.status));
  layout->addStretch(1);
  auto* whole = new QVBoxLayout(this);
  whole->setContentsMargins(0, 0, 0, 0);
  whole->addWidget(scrolled(content));
}

}  // namespace sonmere
