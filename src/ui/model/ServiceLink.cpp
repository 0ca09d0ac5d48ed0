#include "ui/model/ServiceLink.h"

#include <QSocketNotifier>

namespace sonmere {
namespace {

constexpr int kRetryMilliseconds = 300;
// Until a service that is connected and says nothing is told of.
constexpr int kPatienceMilliseconds = 3000;

}  // namespace

ServiceLink::ServiceLink(std::filesystem::path folder, TopicSet topics, double meterRate, QObject* parent)
    : QObject(parent),
      link_(std::move(folder), {std::move(topics), 0},
            {.changed = [this](Topic topic, const TopicJSON& value) { emit told(topic, value); },
             .metered = [this](const ControlJSON& meters) { emit metered(meters); },
             .connected =
                 [this] {
                   enter(State::connected);
                   isWatching_ = false;
                   if (!meterViewers_.empty()) watchMeters();
                 },
             .disconnected =
                 [this](const Error& why) {
                   latest_.clear();
                   enter(State::gone, QString::fromStdString(why.description));
                 }}),
      meterRate_(meterRate) {
  connect(&retry_, &QTimer::timeout, this, &ServiceLink::process);
  patience_.setSingleShot(true);
  connect(&patience_, &QTimer::timeout, this, [this] {
    if (state_ == State::connecting) {
      enter(State::gone,
            link_.descriptor() < 0 ? tr("Sonmere is not running.") : tr("Sonmere does not answer."));
    }
  });
}

ServiceLink::~ServiceLink() = default;

void ServiceLink::start() {
  patience_.start(kPatienceMilliseconds);
  process();
}

void ServiceLink::process() {
  unwatch();
  link_.process();
  watch();
}

void ServiceLink::watch() {
  if (link_.descriptor() < 0) {
    if (!retry_.isActive()) retry_.start(kRetryMilliseconds);
    return;
  }
  retry_.stop();
  readable_ = std::make_unique<QSocketNotifier>(link_.descriptor(), QSocketNotifier::Read);
  connect(readable_.get(), &QSocketNotifier::activated, this, &ServiceLink::process, Qt::QueuedConnection);
  if (!link_.wantsWrite()) return;
  writable_ = std::make_unique<QSocketNotifier>(link_.descriptor(), QSocketNotifier::Write);
  connect(writable_.get(), &QSocketNotifier::activated, this, &ServiceLink::process, Qt::QueuedConnection);
}

void ServiceLink::unwatch() {
  readable_.reset();
  writable_.reset();
}

void ServiceLink::enter(State state, const QString& reason) {
  if (state == state_ && reason == reason_) return;
  state_ = state;
  reason_ = reason;
  emit stateChanged();
}

void ServiceLink::wantMeters(const void* who, bool wants) {
  wants ? void(meterViewers_.insert(who)) : void(meterViewers_.erase(who));
  if (isWatching_ != !meterViewers_.empty()) watchMeters();
}

void ServiceLink::lookAtSpectrum(const QString& of) {
  if (of.toStdString() == spectrum_) return;
  spectrum_ = of.toStdString();
  if (isWatching_) watchMeters();
}

void ServiceLink::watchMeters() {
  if (!link_.isConnected()) return;
  isWatching_ = !meterViewers_.empty();
  ControlJSON wish = {{"on", isWatching_}, {"rate", meterRate_}};
  if (!spectrum_.empty()) wish["spectrum"] = spectrum_;
  call("watch", wish, [](const Outcome<ControlJSON>&) {});
}

void ServiceLink::call(const std::string& method, const ControlJSON& params, Answer done) {
  link_.call(method, params, std::move(done));
  // What was asked for leaves at the end of this turn, together with what else is.
  QMetaObject::invokeMethod(this, &ServiceLink::process, Qt::QueuedConnection);
}

void ServiceLink::callLatest(const std::string& key, const std::string& method, const ControlJSON& params,
                             Answer done) {
  auto send = [this, key, method, params, done = std::move(done)] {
    call(method, params, [this, key, done](const Outcome<ControlJSON>& answer) {
      const auto found = latest_.find(key);
      if (found == latest_.end() || !found->second.next) done(answer);
      finishLatest(key);
    });
  };
  Latest& latest = latest_[key];
  if (latest.isUnderWay) {
    latest.next = std::move(send);
  } else {
    latest.isUnderWay = true;
    send();
  }
}

void ServiceLink::finishLatest(const std::string& key) {
  const auto found = latest_.find(key);
  if (found == latest_.end()) return;
  const auto next = std::exchange(found->second.next, {});
  next ? next() : void(latest_.erase(found));
}

}  // namespace sonmere
