#include "ui/pages/StatusPage.h"

#include <QHeaderView>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

#include "ui/model/StatusModel.h"
#include "ui/theme/Theme.h"
#include "ui/widgets/NoteLabel.h"

namespace sonmere {
namespace {

// A table that is only looked at. Tab goes on to the next control; arrows move in it.
void prepare(QTableWidget& table, const QStringList& titles, const QString& name, int widest) {
  table.setHorizontalHeaderLabels(titles);
  table.horizontalHeader()->setSectionResizeMode(widest, QHeaderView::Stretch);
  table.verticalHeader()->hide();
  table.setEditTriggers(QAbstractItemView::NoEditTriggers);
  table.setAccessibleName(name);
  table.setTabKeyNavigation(false);
}

}  // namespace

StatusPage::StatusPage(StatusModel& model, QWidget* parent)
    : QWidget(parent),
      model_(model),
      summary_(new QLabel),
      routes_(new QTableWidget(0, 3)),
      reset_(new QPushButton(tr("Reset Routing"))),
      note_(new NoteLabel),
      devices_(new QTableWidget(0, 4)),
      report_(new QPlainTextEdit) {
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(2 * kGrid, 2 * kGrid, 2 * kGrid, 2 * kGrid);
  layout->setSpacing(kGrid);
  summary_->setWordWrap(true);
  summary_->setTextFormat(Qt::PlainText);
  prepare(*routes_, {tr("Route"), tr("Health"), tr("Detail")}, tr("Routes"), 2);
  prepare(*devices_, {tr("Device"), tr("Inputs"), tr("Outputs"), tr("Rate")}, tr("Devices"), 0);
  reset_->setToolTip(tr("Makes every route anew"));
  connect(reset_, &QPushButton::clicked, &model_, &StatusModel::resetRouting);
  connect(&model_, &StatusModel::answered, note_, &NoteLabel::say);
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
  layout->addWidget(routes_, 1);
  layout->addWidget(reset_, 0, Qt::AlignLeft);
  layout->addWidget(note_);
  layout->addWidget(devices_, 1);
  layout->addWidget(make, 0, Qt::AlignLeft);
  layout->addWidget(report_, 2);
  refresh();
}

void StatusPage::refresh() {
  summary_->setText(model_.summary());
  showRoutes();
  showDevices();
}

void StatusPage::showRoutes() {
  const auto& routes = model_.routes();
  reset_->setEnabled(!model_.isResetting() && !routes.empty());
  routes_->setRowCount(static_cast<int>(routes.size()));
  for (std::size_t i = 0; i < routes.size(); ++i) {
    const RouteRow& route = routes[i];
    const QString advice = QString::fromStdString(route.advice);
    const QString texts[] = {QString::fromStdString(route.name), wordFor(route.verdict),
                             QString::fromStdString(route.detail)};
    for (int column = 0; column < 3; ++column) {
      auto* item = new QTableWidgetItem(texts[column]);
      item->setToolTip(advice);
      routes_->setItem(static_cast<int>(i), column, item);
    }
  }
}

QString StatusPage::wordFor(const std::string& verdict) {
  if (verdict == "healthy") return tr("healthy");
  if (verdict == "degraded") return tr("degraded");
  if (verdict == "broken") return tr("broken");
  return tr("off");
}

void StatusPage::showDevices() {
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
