#include "ui/pages/GuidePage.h"

#include <QDesktopServices>
#include <QEvent>
#include <QFile>
#include <QHBoxLayout>
#include <QListWidget>
#include <QLocale>
#include <QTextBrowser>
#include <QUrl>

#include "ui/theme/Theme.h"

// In a static library nothing else brings it in; the macro wants to stand outside of namespaces.
static void bringInGuide() { Q_INIT_RESOURCE(guide); }

namespace sonmere {
namespace {

constexpr int kListWidth = 200;

}  // namespace

QString guideText(const QString& topic) {
  bringInGuide();
  for (const QString& language : {QLocale().name().left(2), QStringLiteral("en")}) {
    QFile file(QStringLiteral(":/guide/%1/%2.md").arg(language, topic));
    if (file.open(QIODevice::ReadOnly)) return QString::fromUtf8(file.readAll());
  }
  return {};
}

GuidePage::GuidePage(QWidget* parent) : QWidget(parent), list_(new QListWidget), text_(new QTextBrowser) {
  auto* layout = new QHBoxLayout(this);
  layout->setContentsMargins(2 * kGrid, 2 * kGrid, 2 * kGrid, 2 * kGrid);
  list_->setFixedWidth(kListWidth);
  list_->setFrameShape(QFrame::NoFrame);
  list_->setAccessibleName(tr("Chapters of the guide"));
  list_->setWordWrap(true);
  text_->setFrameShape(QFrame::NoFrame);
  text_->setOpenLinks(false);
  text_->setAccessibleName(tr("Guide"));
  text_->document()->setDocumentMargin(kGrid);
  layout->addWidget(list_);
  layout->addWidget(text_, 1);
  addTopic(QStringLiteral("start"), tr("Sonmere in five minutes"));
  addTopic(QStringLiteral("call"), tr("A call with music in it"));
  addTopic(QStringLiteral("podcast"), tr("A podcast with three tracks"));
  addTopic(QStringLiteral("stream"), tr("A stream with separate sound"));
  addTopic(QStringLiteral("keys"), tr("Keys"));
  addTopic(QStringLiteral("commands"), tr("Commands"));
  connect(list_, &QListWidget::currentRowChanged, this, &GuidePage::refresh);
  connect(text_, &QTextBrowser::anchorClicked, this, [this](const QUrl& link) {
    if (!link.isRelative()) return void(QDesktopServices::openUrl(link));
    if (link.hasFragment() && link.path().isEmpty()) return text_->scrollToAnchor(link.fragment());
    open(link.path().section(QLatin1Char('.'), 0, 0));
  });
  open(topics_.first());
}

void GuidePage::refresh() {
  if (const int row = list_->currentRow(); row >= 0) text_->setMarkdown(guideText(topics_.at(row)));
}

// Links are coloured as they are set.
void GuidePage::changeEvent(QEvent* event) {
  QWidget::changeEvent(event);
  if (event->type() == QEvent::PaletteChange) refresh();
}

void GuidePage::addTopic(const QString& topic, const QString& title) {
  topics_ << topic;
  list_->addItem(title);
}

void GuidePage::open(const QString& topic) {
  if (const qsizetype row = topics_.indexOf(topic); row >= 0) list_->setCurrentRow(static_cast<int>(row));
}

}  // namespace sonmere
