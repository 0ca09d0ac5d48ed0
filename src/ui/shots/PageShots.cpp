#include "ui/shots/PageShots.h"

#include <QCoreApplication>
#include <QImage>
#include <QPainter>
#include <QTimer>
#include <cstdio>

#include "ui/MainWindow.h"
#include "ui/model/Models.h"
#include "ui/theme/Theme.h"

namespace sonmere {
namespace {

constexpr int kLookMilliseconds = 100;
constexpr int kMostLooks = 150;
// From the first app on, so that meters and rows have settled.
constexpr int kSettleMilliseconds = 1500;

}  // namespace

PageShots::PageShots(MainWindow& window, Models& models, QString folder)
    : window_(window), models_(models), folder_(std::move(folder)) {}

void PageShots::start() {
  window_.show();
  waitForApps();
}

void PageShots::waitForApps() {
  if (!models_.apps().apps().empty())
    return QTimer::singleShot(kSettleMilliseconds, this, &PageShots::takeAll);
  if (++looks_ < kMostLooks) return QTimer::singleShot(kLookMilliseconds, this, &PageShots::waitForApps);
  std::fputs("sonmere-window: the service told of no apps; no pictures were made.\n", stderr);
  QCoreApplication::exit(1);
}

void PageShots::takeAll() {
  bool good = true;
  for (const auto& [scheme, name] : {std::pair(ColourScheme::dark, "dark"), {ColourScheme::light, "light"}}) {
    Theme::instance().setScheme(scheme);
    for (const QSize size : {QSize(640, 480), QSize(1040, 720)}) {
      window_.resize(size);
      for (int page = 0; page < window_.pageCount(); ++page) {
        window_.showPage(page);
        QCoreApplication::processEvents();
        const QString picture =
            QStringLiteral("%1-%2-%3").arg(window_.pageName(page), QLatin1String(name)).arg(size.width());
        good = take(picture, 1) && good;
        if (size.width() > 640) good = take(picture + QStringLiteral("@2x"), 2) && good;
      }
    }
  }
  QCoreApplication::exit(good ? 0 : 1);
}

bool PageShots::take(const QString& name, double scale) {
  QImage image(window_.size() * scale, QImage::Format_RGB32);
  image.setDevicePixelRatio(scale);
  window_.render(&image);
  const QString path = folder_ + QLatin1Char('/') + name + QStringLiteral(".png");
  if (image.save(path)) return true;
  std::fprintf(stderr, "sonmere-window: %s can't be written.\n", qPrintable(path));
  return false;
}

}  // namespace sonmere
