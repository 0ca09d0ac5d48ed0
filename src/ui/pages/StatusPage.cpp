#include "ui/pages/StatusPage.h"

#include <QHeaderView>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

#include "ui/model/StatusModel.h"
#include "ui/theme/Theme.h"

namespace sonmere {

StatusPage::StatusPage(StatusModel& model, QWidget* parent)
    : QWidget(parent),
      model_(model),
      summary_(new QLabel),
      devices_(new QTableWidget(0, 4)),
      report_(new QPlainTextEdit) {
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(2 * kGrid, 2 * kGrid, 2 * kGrid, 2 * kGrid);
  layout->setSpacing(kGrid);
  summary_->setWordWrap(true);
  summary_->setTextFormat(Qt::PlainText);
  devices_->setHorizontalHeaderLabels({tr("Device"), tr("Inputs"), tr("Outputs"), tr("Rate")});
  devices_->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
  devices_->verticalHeader()->hide();
  devices_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  devices_->setAccessibleName(tr("Devices"));
  // Tab goes on to the next control; arrows move in the table.
  devices_->setTabKeyNavigation(false);
  report_->setReadOnly(true);
  report_->setAccessibleName(tr("Diagnostic report"));
  report_->setFont(QFont(QStringLiteral("monospace")));
  report_->hide();
  auto* make = new QPushButton(tr("Generate Diagnostic Report…"));
  connect(make, &QPushButton::clicked, &model_, &StatusModel::askForReport);
  connect(&model_, &StatusModel::reportCame, this, [this](const QString& text) {
    report_->setPlainText(text);
    report_->show();
  });
  connect(&model_, &StatusModel::changed, this, &StatusPage::refresh);
  layout->addWidget(summary_);
  layout->addWidget(devices_, 1);
  layout->addWidget(make, 0, Qt::AlignLeft);
  layout->addWidget(report_, 2);
  refresh();
}

void StatusPage::refresh() {
  summary_->setText(model_.summary());
  const auto& devices = model_.devices();
  devices_->setRowCount(static_cast<int>(devices.size()));
  for (std::size_t i = 0; i < devices.size(); ++i) {
    const DeviceState& device = devices[i];
    QString name = QString::fromStdString(device.name);
    if (device.isDefaultOutput) name = tr("%1 (default output)").arg(name);
    if (device.isDefaultInput) name = tr("%1 (default input)").arg(name);
    const QString texts[] = {name, QString::number(device.inputs), QString::number(device.outputs),
                             device.sampleRate > 0 ? tr("%1 Hz").arg(device.sampleRate) : QString()};
    for (int column = 0; column < 4; ++column) {
      devices_->setItem(static_cast<int>(i), column, new QTableWidgetItem(texts[column]));
    }
  }
}

}  // namespace sonmere
