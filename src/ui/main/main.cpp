#include <QApplication>
#include <cstdio>

#include "ui/MainWindow.h"
#include "ui/launch/ServiceStarter.h"
#include "ui/launch/WindowOptions.h"
#include "ui/model/Models.h"
#include "ui/shots/PageShots.h"
#include "ui/theme/Theme.h"

namespace sonmere {
namespace {

bool hasDisplay() {
  return qEnvironmentVariableIsSet("DISPLAY") || qEnvironmentVariableIsSet("WAYLAND_DISPLAY") ||
         qEnvironmentVariableIsSet("QT_QPA_PLATFORM");
}

int tell(const std::string& text) {
  std::fprintf(stderr, "sonmere-window: %s\n", text.c_str());
  return 1;
}

QStringList listOf(int argc, char** argv) {
  QStringList list;
  for (int i = 0; i < argc; ++i) list << QString::fromLocal8Bit(argv[i]);
  return list;
}

int run(QApplication& application, const WindowOptions& options) {
  Theme::instance().setScheme(ColourScheme::dark);
  ServiceStarter service(options.demo || !options.shotsFolder.isEmpty());
  Models models(service.folder());
  MainWindow window(models);
  QObject::connect(&window, &MainWindow::serviceWanted, [&] {
    if (!service.start()) tell("there is no program \"sonmere\" beside this one");
  });
  service.start();
  models.link().start();
  PageShots shots(window, models, options.shotsFolder);
  options.shotsFolder.isEmpty() ? window.show() : shots.start();
  return application.exec();
}

}  // namespace
}  // namespace sonmere

int main(int argc, char** argv) {
  using namespace sonmere;
  const auto options = parseWindowArguments(listOf(argc, argv));
  if (!options) return tell(options.error().description), 2;
  if (options->showHelp) return std::fputs(qPrintable(windowHelp()), stdout) < 0;
  if (!options->shotsFolder.isEmpty()) {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  } else if (!hasDisplay()) {
    return tell("there is no display; --shots DIR makes pictures without one");
  }
  QApplication application(argc, argv);
  QApplication::setApplicationName(QStringLiteral("Sonmere"));
  QApplication::setDesktopFileName(QStringLiteral("com.sonmere.Sonmere"));
  return run(application, *options);
}
