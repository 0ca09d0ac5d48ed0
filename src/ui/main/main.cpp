#include <QApplication>
#include <cstdio>
#include <optional>

#include "ui/MainWindow.h"
#include "ui/hotkeys/Hotkeys.h"
#include "ui/launch/ServiceStarter.h"
#include "ui/launch/SingleWindow.h"
#include "ui/launch/Translations.h"
#include "ui/launch/WindowOptions.h"
#include "ui/model/Decode.h"
#include "ui/model/Models.h"
#include "ui/shots/PageShots.h"
#include "ui/theme/Theme.h"
#include "ui/tray/Tray.h"
#include "ui/work/Workbench.h"

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

// Once the service answers for the first time it says what greets the user, and whether the window is wanted
// at all.
void askForLaunch(ServiceLink& link, MainWindow& window, const WindowOptions& options) {
  if (!options.shotsFolder.isEmpty()) return;
  const auto told = [&window](const Outcome<ControlJSON>& launch) {
    if (!launch) return;
    if (!memberOr(*launch, "shown", true)) window.close();
    window.greet(QString::fromStdString(memberOr<std::string>(*launch, "greeting", {})));
  };
  const auto first = std::make_shared<QMetaObject::Connection>();
  *first = QObject::connect(&link, &ServiceLink::stateChanged, &window, [&link, told, first, options] {
    if (link.state() != ServiceLink::State::connected) return;
    QObject::disconnect(*first);
    link.call("window.launch", {{"atLogin", options.atLogin}}, told);
  });
}

int run(QApplication& application, const WindowOptions& options) {
  Theme::instance().setScheme(ColourScheme::dark);
  ServiceStarter service(options.demo || !options.shotsFolder.isEmpty());
  SingleWindow single(QString::fromStdString(service.folder().string()));
  if (!single.claim(options.files)) return 0;
  Models models(service.folder());
  Workbench workbench(service.isDemo() ? Workbench::demoPlace(service.folder().parent_path())
                                       : Workbench::userPlace());
  MainWindow window(models, workbench);
  QObject::connect(&single, &SingleWindow::asked, &window, &MainWindow::openFiles);
  if (!options.files.isEmpty()) {
    QMetaObject::invokeMethod(
        &window, [&] { window.openFiles(options.files); }, Qt::QueuedConnection);
  }
  QObject::connect(&window, &MainWindow::quitDone, &application, &QCoreApplication::quit);
  askForLaunch(models.link(), window, options);
  QObject::connect(&window, &MainWindow::serviceWanted, [&] {
    if (!service.start()) tell("there is no program \"sonmere\" beside this one");
  });
  ShortcutPortal portal;
  Hotkeys hotkeys(models, portal);
  QObject::connect(&hotkeys, &Hotkeys::windowWanted, &window, &MainWindow::comeForward);
  QObject::connect(&window, &MainWindow::keysWanted, [&] {
    (new KeysSheet(hotkeys.lines(), hotkeys.stateText(), window.centralWidget()))->open();
  });
  service.start();
  models.link().start();
  std::optional<Tray> tray;
  if (options.shotsFolder.isEmpty()) tray.emplace(models, window);
  // Brought by the log-in without a place to wait in: the service is what was wanted.
  if (options.atLogin && !tray->isThere()) return 0;
  PageShots shots(window, models, service, options.shotsFolder);
  if (!options.shotsFolder.isEmpty())
    shots.start();
  else if (!options.atLogin)
    window.show();
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
  installTranslations(options->language);
  return run(application, *options);
}
