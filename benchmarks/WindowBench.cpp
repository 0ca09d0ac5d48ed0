// The window's figures on the offscreen platform, a line each: the first picture, memory, wake-ups while
// nothing moves, the price of 30 meters, and a frame of the timeline of 16 tracks of 6 hours.
#include <sys/resource.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QPainter>
#include <QTemporaryDir>
#include <QTimer>
#include <cmath>
#include <cstdio>
#include <random>

#include "ui/MainWindow.h"
#include "ui/editor/WavePaint.h"
#include "ui/editor/WavePyramid.h"
#include "ui/model/Models.h"
#include "ui/theme/Theme.h"
#include "ui/work/Workbench.h"

namespace sonmere {
namespace {

constexpr int kMeters = 30;
constexpr int kTracks = 16;
constexpr std::int64_t kFrames = std::int64_t(6) * 3600 * 48000;

void tell(const char* what, double value, const char* unit) {
  std::printf("%-44s %10.2f %s\n", what, value, unit);
}

double processorSeconds() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) { return double(time.tv_sec) + double(time.tv_usec) / 1e6; };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// Of a line of a file below /proc/self; kilobytes or a count.
double fromProc(const char* file, const QByteArray& name) {
  QFile proc(QStringLiteral("/proc/self/") + QLatin1String(file));
  double sum = 0;
  if (!proc.open(QIODevice::ReadOnly)) return 0;
  for (const QByteArray& line : proc.readAll().split('\n')) {
    if (line.startsWith(name)) sum += line.simplified().split(' ').value(1).toDouble();
  }
  return sum;
}

void run(int seconds) {
  QEventLoop loop;
  QTimer::singleShot(seconds * 1000, &loop, &QEventLoop::quit);
  loop.exec();
}

ControlJSON apps() {
  ControlJSON value = {{"order", ControlJSON::array()}};
  for (int i = 0; i < kMeters; ++i) {
    const std::string id = "app" + std::to_string(i);
    value["order"].push_back(id);
    value["apps"][id] = {{"facts", {{"name", id}, {"running", true}, {"control", "mixer"}}},
                         {"wishes", {{"volume", 1.0}}}};
  }
  return value;
}

void measureMeters(ServiceLink& link, int seconds) {
  emit link.told(Topic::apps, TopicJSON(apps()));
  run(1);
  std::mt19937 random(1);
  std::uniform_real_distribution<double> level(-50, 0);
  QTimer timer;
  QObject::connect(&timer, &QTimer::timeout, [&] {
    ControlJSON meters;
    for (int i = 0; i < kMeters; ++i) {
      meters["apps"]["app" + std::to_string(i)] = {
          {"levelDb", level(random)}, {"gainReductionDb", 0}, {"addedDelayMs", 0}, {"underruns", 0}};
    }
    emit link.metered(meters);
  });
  timer.start(33);
  const double before = processorSeconds();
  run(seconds);
  tell("30 meters at 30 a second", 100 * (processorSeconds() - before) / seconds, "% of a core");
}

std::shared_ptr<const WaveformEnvelope> sixHours() {
  auto envelope = std::make_shared<WaveformEnvelope>();
  envelope->sampleRate = 48000;
  envelope->totalFrames = kFrames;
  envelope->binFrames = 48;
  envelope->channels.resize(1);
  auto& bins = envelope->channels.front();
  bins.reserve(static_cast<std::size_t>(kFrames / 48));
  std::mt19937 random(2);
  for (std::int64_t i = 0; i < kFrames / 48; ++i) {
    const float value = static_cast<float>(random() % 1000) / 1000;
    bins.push_back({-value, value});
  }
  return envelope;
}

// All tracks look at one envelope, which a machine has room for; what lies above it is each track's own.
void measureTimeline() {
  const auto envelope = sixHours();
  const double before = fromProc("smaps_rollup", "Private_");
  std::vector<WavePyramid> tracks;
  QElapsedTimer clock;
  clock.start();
  for (int i = 0; i < kTracks; ++i) tracks.emplace_back(envelope);
  tell("levels of a track of 6 hours, made beside", static_cast<double>(clock.elapsed()) / kTracks, "ms");
  tell("levels of 16 tracks of 6 hours", (fromProc("smaps_rollup", "Private_") - before) / 1024, "MB");
  constexpr int kWidth = 1040, kLane = 48;
  QImage image(kWidth, kTracks * kLane, QImage::Format_RGB32);
  double worst = 0, sum = 0;
  constexpr int kRounds = 200;
  for (int round = 0; round < kRounds; ++round) {
    const double length = static_cast<double>(kFrames) * std::pow(0.95, round);
    const double start = (static_cast<double>(kFrames) - length) * 0.4;
    clock.restart();
    image.fill(Qt::black);
    QPainter painter(&image);
    painter.setPen(Qt::green);
    for (int i = 0; i < kTracks; ++i) {
      paintWave(painter, QRectF(0, i * kLane, kWidth, kLane), kWidth, [&](int x) {
        const auto edge = [&](int column) {
          return static_cast<std::int64_t>(start + length * column / kWidth);
        };
        return tracks[static_cast<std::size_t>(i)].extremes(edge(x), std::max(edge(x + 1), edge(x) + 1));
      });
    }
    painter.end();
    const double milliseconds = static_cast<double>(clock.nsecsElapsed()) / 1e6;
    worst = std::max(worst, milliseconds);
    sum += milliseconds;
  }
  tell("frame of 16 tracks of 6 hours, as a rule", sum / kRounds, "ms");
  tell("frame of 16 tracks of 6 hours, at most", worst, "ms");
}

int bench(QApplication& application, const QElapsedTimer& started, int seconds) {
  Theme::instance().setScheme(ColourScheme::dark);
  QTemporaryDir folder;
  Workbench workbench(Workbench::demoPlace(folder.path().toStdString()));
  Models models((folder.path() + QStringLiteral("/nothing")).toStdString());
  MainWindow window(models, workbench);
  window.show();
  window.grab();
  tell("first picture after the start", static_cast<double>(started.elapsed()), "ms");
  application.processEvents();
  measureMeters(models.link(), seconds);
  tell("private memory with 30 apps", fromProc("smaps_rollup", "Private_") / 1024, "MB");
  window.showMinimized();
  run(1);
  const double before = fromProc("status", "voluntary_ctxt_switches");
  run(seconds);
  tell("wake-ups while hidden", (fromProc("status", "voluntary_ctxt_switches") - before) / seconds,
       "a second");
  measureTimeline();
  return 0;
}

}  // namespace
}  // namespace sonmere

int main(int argc, char** argv) {
  QElapsedTimer started;
  started.start();
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);
  return sonmere::bench(application, started, argc > 1 ? std::max(1, std::atoi(argv[1])) : 5);
}
