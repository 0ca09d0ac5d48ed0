#include "ui/work/Workbench.h"

#include <QSocketNotifier>

#include "app/PlatformFolders.h"

namespace sonmere {

Workbench::Place Workbench::userPlace() {
  return {PlatformWish::automatic, defaultSettingsPath(), userFolders(), userTrash()};
}

Workbench::Place Workbench::demoPlace(const std::filesystem::path& folder) {
  return {PlatformWish::simulated,
          folder / "window.json",
          {(folder / "state").string(), (folder / "recordings").string()},
          (folder / "Trash").string()};
}

Workbench::Workbench(Place place)
    : place_(std::move(place)),
      runtime_(std::make_unique<LiveRuntime>()),
      settings_(std::make_unique<FileSettingsStore>(*runtime_, log_, place_.settingsFile)) {
  log_.addSink(Log::standardError(LogLevel::error));
  due_ = std::make_unique<QSocketNotifier>(runtime_->mainQueueDescriptor(), QSocketNotifier::Read);
  connect(due_.get(), &QSocketNotifier::activated, this, [this] { runtime_->runDue(); });
  if (auto watcher = FileDescriptorWatcher::create(runtime_->mainQueue())) watcher_ = std::move(*watcher);
}

Workbench::~Workbench() {
  due_.reset();
  watcher_.reset();
  engines_.reset();
  platform_.reset();
  settings_.reset();
  runtime_.reset();
}

RecordingContext Workbench::recordings(const std::string& onlyFolder) {
  RecordingContext context{*runtime_, log_, *settings_, notifications_, place_.folders, nullptr, nullptr};
  if (!onlyFolder.empty()) context.onlyFolder = onlyFolder;
  return context;
}

EngineContext& Workbench::engines() {
  if (!engines_) {
    platform_.emplace(*runtime_, log_, place_.platform);
    engines_ = std::make_unique<EngineContext>(*runtime_, log_, *settings_, notifications_,
                                               platform_->platform(), flags_, *micSend_, place_.folders);
  }
  return *engines_;
}

}  // namespace sonmere
