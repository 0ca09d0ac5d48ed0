#include "ui/widgets/JobStrip.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

#include "ui/theme/Theme.h"
#include "ui/widgets/ElidedLabel.h"

namespace sonmere {

JobStrip::JobStrip(QWidget* parent) : QWidget(parent), rows_(new QVBoxLayout(this)) {
  rows_->setContentsMargins(0, 0, 0, 0);
  rows_->setSpacing(kGrid / 2);
  hide();
}

JobStrip::Row JobStrip::makeRow(JobID job) {
  Row row{new QWidget, new ElidedLabel, new QProgressBar};
  auto* layout = new QHBoxLayout(row.whole);
  layout->setContentsMargins(0, 0, 0, 0);
  row.bar->setRange(0, 1000);
  row.bar->setTextVisible(false);
  row.bar->setFixedHeight(kGrid);
  auto* cancel = new QToolButton;
  cancel->setText(tr("Cancel"));
  layout->addWidget(row.title, 2);
  layout->addWidget(row.bar, 3);
  layout->addWidget(cancel);
  connect(cancel, &QToolButton::clicked, this, [this, job] { emit cancelled(job); });
  rows_->addWidget(row.whole);
  return row;
}

void JobStrip::show(const std::vector<JobState>& jobs) {
  std::erase_if(shown_, [&](const auto& each) {
    const auto job = std::ranges::find(jobs, each.first, &JobState::id);
    const bool isOver = job == jobs.end() || job->hasEnded();
    if (isOver) each.second.whole->deleteLater();
    return isOver;
  });
  for (const JobState& job : jobs) {
    if (job.hasEnded()) continue;
    auto found = shown_.find(job.id);
    if (found == shown_.end()) found = shown_.emplace(job.id, makeRow(job.id)).first;
    const QString title = QString::fromStdString(job.title);
    found->second.title->setText(title);
    found->second.bar->setAccessibleName(title);
    found->second.bar->setValue(static_cast<int>(job.fraction * 1000));
  }
  setVisible(!shown_.empty());
}

}  // namespace sonmere
