#include "ui/sheets/PluginSheet.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "ui/model/PluginsModel.h"
#include "ui/theme/Theme.h"
#include "ui/widgets/NoteLabel.h"
#include "ui/widgets/PluginRow.h"

namespace sonmere {
namespace {

constexpr QSize kSize(720, 600);
constexpr int kFinderHeight = 112;

bool fits(const PluginOfferView& offer, const QStringList& words) {
  const QString all = offer.name + QLatin1Char(' ') + offer.maker + QLatin1Char(' ') + offer.category +
                      QLatin1Char(' ') + offer.uri;
  return std::ranges::all_of(words,
                             [&](const QString& word) { return all.contains(word, Qt::CaseInsensitive); });
}

}  // namespace

PluginSheet::PluginSheet(PluginsModel& model, QString scope, const QString& name, QWidget* parent)
    : Sheet(tr("Plug-ins on %1").arg(name), parent),
      model_(model),
      scope_(std::move(scope)),
      state_(new QLabel),
      note_(new NoteLabel),
      empty_(new QLabel(tr("No plug-ins yet."))),
      trusted_(new QCheckBox(tr("Inside the program"))),
      list_(new QVBoxLayout),
      search_(new QLineEdit),
      found_(new QListWidget),
      add_(new QPushButton(tr("Add"))) {
  setCardSize(kSize);
  auto* line = new QHBoxLayout;
  trusted_->setToolTip(tr("No added delay, and no protection from a plug-in that crashes"));
  state_->setForegroundRole(QPalette::PlaceholderText);
  line->addWidget(state_, 1);
  line->addWidget(trusted_);
  addLayout(line);
  addWidget(buildChain(), 3);
  addWidget(buildFinder());
  addWidget(note_);
  addButton(tr("Close"), false);
  connect(trusted_, &QCheckBox::clicked, this, [this](bool on) { model_.setTrusted(scope_, on); });
  connect(&model_, &PluginsModel::changed, this, &PluginSheet::refresh);
  connect(&model_, &PluginsModel::offersCame, this, [this](const std::vector<PluginOfferView>& offers) {
    offers_ = offers;
    showOffers();
  });
  connect(&model_, &PluginsModel::infoCame, this, [this](const QString& uri, const PluginInfoView& info) {
    for (PluginRow* row : rows_) {
      if (row->uri() == uri) row->showInfo(info);
    }
  });
  connect(&model_, &PluginsModel::answered, this, [this](const QString& of, const QString& refusal) {
    if (of.isEmpty() || of == scope_) say(refusal);
  });
  connect(&model_, &PluginsModel::troubled, this, &PluginSheet::say);
  refresh();
  model_.askForOffers();
}

QWidget* PluginSheet::buildChain() {
  auto* content = new QWidget;
  auto* column = new QVBoxLayout(content);
  column->setContentsMargins(0, 0, 0, 0);
  list_->setSpacing(kGrid / 2);
  empty_->setForegroundRole(QPalette::PlaceholderText);
  column->addWidget(empty_);
  column->addLayout(list_);
  column->addStretch(1);
  auto* scroll = new QScrollArea;
  scroll->setWidgetResizable(true);
  scroll->setFrameShape(QFrame::NoFrame);
  scroll->setFocusPolicy(Qt::NoFocus);
  scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  scroll->setMinimumHeight(kFinderHeight);
  scroll->setWidget(content);
  return scroll;
}

QWidget* PluginSheet::buildFinder() {
  auto* box = new QWidget;
  auto* column = new QVBoxLayout(box);
  column->setContentsMargins(0, 0, 0, 0);
  auto* line = new QHBoxLayout;
  search_->setPlaceholderText(tr("Search plug-ins"));
  search_->setAccessibleName(tr("Search plug-ins"));
  search_->setClearButtonEnabled(true);
  found_->setAccessibleName(tr("Plug-ins of this system"));
  found_->setFixedHeight(kFinderHeight);
  add_->setEnabled(false);
  // The first reading of some hundred plug-ins takes a while.
  (new QListWidgetItem(tr("The plug-ins of this system are being read …"), found_))
      ->setFlags(Qt::NoItemFlags);
  line->addWidget(search_, 1);
  line->addWidget(add_);
  column->addLayout(line);
  column->addWidget(found_);
  connect(search_, &QLineEdit::textChanged, this, &PluginSheet::showOffers);
  connect(search_, &QLineEdit::returnPressed, this, &PluginSheet::addChosen);
  connect(found_, &QListWidget::itemActivated, this, &PluginSheet::addChosen);
  connect(found_, &QListWidget::currentRowChanged, this, [this](int row) { add_->setEnabled(row >= 0); });
  connect(add_, &QPushButton::clicked, this, &PluginSheet::addChosen);
  return box;
}

void PluginSheet::showOffers() {
  const QStringList words = search_->text().split(QLatin1Char(' '), Qt::SkipEmptyParts);
  found_->clear();
  for (const PluginOfferView& offer : offers_) {
    if (!fits(offer, words)) continue;
    const QString by = offer.maker.isEmpty() ? offer.category : offer.maker;
    auto* item = new QListWidgetItem(by.isEmpty() ? offer.name : tr("%1 — %2").arg(offer.name, by), found_);
    item->setData(Qt::UserRole, offer.uri);
    item->setToolTip(offer.obstacle.isEmpty() ? offer.uri : offer.obstacle);
    if (!offer.obstacle.isEmpty()) item->setFlags(item->flags() & ~Qt::ItemIsEnabled);
  }
  // The first that can be used, so that Return in the search takes it.
  for (int row = 0; row < found_->count() && !words.isEmpty(); ++row) {
    if (found_->item(row)->flags() & Qt::ItemIsEnabled) return found_->setCurrentRow(row);
  }
}

void PluginSheet::addChosen() {
  const QListWidgetItem* item = found_->currentItem();
  if (!item || !(item->flags() & Qt::ItemIsEnabled)) return;
  say({});
  model_.add(scope_, item->data(Qt::UserRole).toString());
}

int PluginSheet::placeOf(const PluginRow* row) const {
  return static_cast<int>(std::ranges::find(rows_, row) - rows_.begin()) + 1;
}

void PluginSheet::connectRow(PluginRow* row) {
  connect(row, &PluginRow::bypassChosen, this,
          [this, row](bool bypassed) { model_.setBypassed(scope_, placeOf(row), bypassed); });
  connect(row, &PluginRow::moveChosen, this,
          [this, row](int by) { model_.move(scope_, placeOf(row), placeOf(row) + by); });
  connect(row, &PluginRow::removeChosen, this, [this, row] { model_.remove(scope_, placeOf(row)); });
  connect(row, &PluginRow::infoWanted, this, [this, row] { model_.askForInfo(row->uri()); });
  connect(row, &PluginRow::controlChosen, this, [this, row](const QString& symbol, double value) {
    model_.setControl(scope_, placeOf(row), symbol, value);
  });
  connect(row, &PluginRow::presetChosen, this,
          [this, row](const QString& preset) { model_.setPreset(scope_, placeOf(row), preset); });
}

QString PluginSheet::stateText(const PluginChainView& chain) const {
  if (chain.plugins.empty()) return {};
  if (chain.state == QLatin1String("running")) return tr("Running, %1 ms").arg(chain.latencyMs, 0, 'f', 1);
  if (chain.state == QLatin1String("starting")) return tr("Starting");
  if (chain.state == QLatin1String("bypassed")) return tr("Bypassed as a whole, for it failed too often");
  return tr("Waiting for sound");
}

PluginRow* PluginSheet::takeRow(std::vector<PluginRow*>& from, const QString& uri) {
  const auto known = std::ranges::find(from, uri, [](const PluginRow* row) { return row->uri(); });
  if (known != from.end()) {
    PluginRow* row = *known;
    from.erase(known);
    return row;
  }
  auto* row = new PluginRow;
  connectRow(row);
  return row;
}

// A plug-in that is moved keeps its row, and with it the focus and its open controls.
void PluginSheet::refresh() {
  const PluginChainView chain = model_.chain(scope_);
  state_->setText(stateText(chain));
  trusted_->setChecked(chain.isTrusted);
  trusted_->setEnabled(!chain.plugins.empty());
  empty_->setVisible(chain.plugins.empty());
  std::vector<PluginRow*> before = std::exchange(rows_, {});
  for (std::size_t i = 0; i < chain.plugins.size(); ++i) {
    PluginRow* row = takeRow(before, chain.plugins[i].uri);
    rows_.push_back(row);
    const int place = static_cast<int>(i);
    const QLayoutItem* there = list_->itemAt(place);
    if (!there || there->widget() != row) list_->insertWidget(place, row);
    row->showPlugin(chain.plugins[i], i == 0, i + 1 == chain.plugins.size());
  }
  for (PluginRow* row : before) row->deleteLater();
}

void PluginSheet::say(const QString& text) { note_->say(text, true); }

}  // namespace sonmere
