#include "ui/theme/Icons.h"

#include <QFile>
#include <QIconEngine>
#include <QPainter>
#include <QSvgRenderer>

#include "ui/theme/Theme.h"

// In a static library nothing else brings them in; the macro wants to stand outside of namespaces.
static void bringInIcons() { Q_INIT_RESOURCE(icons); }

namespace sonmere {
namespace {

// Draws anew at each size and for each scheme.
class ThemedIconEngine final : public QIconEngine {
 public:
  ThemedIconEngine(QByteArray drawing, ColourRole role) : drawing_(std::move(drawing)), role_(role) {}

  void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override {
    const ColourRole role = state == QIcon::On        ? ColourRole::accentText
                            : mode == QIcon::Disabled ? ColourRole::dimText
                                                      : role_;
    QByteArray coloured = drawing_;
    QSvgRenderer(coloured.replace("currentColor", themed(role).name().toUtf8()))
        .render(painter, QRectF(rect));
  }
  QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
    QPixmap pixmap(size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    paint(&painter, pixmap.rect(), mode, state);
    return pixmap;
  }
  QIconEngine* clone() const override { return new ThemedIconEngine(*this); }

 private:
  QByteArray drawing_;
  ColourRole role_;
};

}  // namespace

QIcon themedIcon(const QString& name, ColourRole role) {
  bringInIcons();
  QFile file(QStringLiteral(":/icons/%1.svg").arg(name));
  Q_ASSERT(file.exists());
  if (!file.open(QIODevice::ReadOnly)) return {};
  return QIcon(new ThemedIconEngine(file.readAll(), role));
}

}  // namespace sonmere
