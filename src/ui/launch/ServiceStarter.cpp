#include "ui/launch/ServiceStarter.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>

#include "app/PlatformFolders.h"

namespace sonmere {
namespace {

constexpr int kEndMilliseconds = 3000;

QString program() { return QCoreApplication::applicationDirPath() + QStringLiteral("/sonmere"); }

}  // namespace

ServiceStarter::ServiceStarter(bool demo) : demo_(demo) {}

ServiceStarter::~ServiceStarter() { stop(); }

void ServiceStarter::stop() {
  if (process_.state() == QProcess::NotRunning) return;
  process_.terminate();
  if (!process_.waitForFinished(kEndMilliseconds)) process_.kill();
  process_.waitForFinished();
}

std::filesystem::path ServiceStarter::folder() const {
  if (!demo_) return userControlFolder();
  return std::filesystem::path(demoFolder_.path().toStdString()) / "sonmere";
}

bool ServiceStarter::start() {
  if (!QFileInfo(program()).isExecutable()) return false;
  if (!demo_) return QProcess::startDetached(program(), {QStringLiteral("run")});
  startDemo(program());
  return true;
}

// Nothing of the user's is read or written: settings, state and recordings lie in the folder.
void ServiceStarter::startDemo(const QString& program) {
  if (process_.state() != QProcess::NotRunning) return;
  QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
  for (const char* name : {"XDG_RUNTIME_DIR", "XDG_CONFIG_HOME", "XDG_STATE_HOME"}) {
    environment.insert(QString::fromLatin1(name), demoFolder_.path());
  }
  process_.setProcessEnvironment(environment);
  // Killed itself, the window can't end what it started.
  process_.setChildProcessModifier([window = ::getpid()] {
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != window) ::_exit(0);
  });
  process_.setStandardOutputFile(QProcess::nullDevice());
  process_.setStandardErrorFile(QProcess::nullDevice());
  process_.start(program, {QStringLiteral("run"), QStringLiteral("--platform"), QStringLiteral("simulated"),
                           QStringLiteral("--demo-apps"), QStringLiteral("--out"),
                           demoFolder_.filePath(QStringLiteral("recordings"))});
}

}  // namespace sonmere
