#include "platform/pipewire/PipeWirePlatform.h"

#include "platform/desktop/DesktopApplications.h"
#include "platform/desktop/DesktopFolders.h"
#include "platform/desktop/DesktopLoginItem.h"
#include "platform/desktop/DesktopPermissions.h"
#include "platform/desktop/DesktopPowerEvents.h"
#include "platform/desktop/DesktopPrivilegedCommand.h"
#include "platform/effects/Lv2EffectsHost.h"
#include "platform/pipewire/PipeWireCaptureEngine.h"
#include "platform/pipewire/PipeWireHardware.h"
#include "platform/pipewire/PipeWireServer.h"

namespace sonmere {

namespace {

constexpr Duration kProbeTimeout = std::chrono::seconds(2);

}  // namespace

namespace {

constexpr PlatformWords kWords{
    .tapsNeed = "PipeWire",
    .captureDenied =
        "The desktop does not let Sonmere capture other programs. Allow it in its privacy settings.",
    .captureRestricted = "The desktop's policy does not let Sonmere capture other programs.",
    .microphoneDenied =
        "Microphone access denied. Allow Sonmere the microphone in the privacy settings of the desktop.",
    .microphoneRestricted = "Microphone access is restricted by a policy of the desktop.",
    .whyRateIsForced = "to spare the sound a conversion",
    .whyLoginItem = "it is there from the log-in on",
};

}  // namespace

struct PipeWirePlatform::Parts {
  Parts(Runtime& itsRuntime, Log& log, const PipeWireOptions& options)
      : runtime(itsRuntime),
        folders(DesktopFolders::ofUser()),
        applications(itsRuntime, log, DesktopEntries::read(), {"/proc", folders.runtime}),
        permissions(itsRuntime),
        loginItem(folders, DesktopLoginItem::ownCommand()),
        privileges(itsRuntime),
        power(itsRuntime, log),
        plugins(itsRuntime, log, Lv2EffectsHost::standardOptions()),
        server(itsRuntime, log, applications, options),
        hardware(server) {}

  Runtime& runtime;
  const DesktopFolders folders;
  DesktopApplications applications;
  DesktopPermissions permissions;
  DesktopLoginItem loginItem;
  DesktopPrivilegedCommand privileges;
  DesktopPowerEvents power;
  Lv2EffectsHost plugins;
  PipeWireServer server;
  PipeWireHardware hardware;
};

PipeWirePlatform::PipeWirePlatform(Runtime& runtime, Log& log, PipeWireOptions options)
    : parts_(std::make_unique<Parts>(runtime, log, options)) {}

PipeWirePlatform::~PipeWirePlatform() = default;

EffectsHost* PipeWirePlatform::effectsHost() { return &parts_->plugins; }

bool PipeWirePlatform::answers(const PipeWireOptions& options, std::string& reason) {
  return ServerConnection::answers(options.remote, kProbeTimeout, reason);
}

bool PipeWirePlatform::waitUntilReady(Duration timeout) { return parts_->server.waitUntilReady(timeout); }

AudioHardware& PipeWirePlatform::hardware() { return parts_->hardware; }
RunningApplications& PipeWirePlatform::applications() { return parts_->applications; }
Permissions& PipeWirePlatform::permissions() { return parts_->permissions; }
const PlatformWords& PipeWirePlatform::words() const { return kWords; }
LoginItem& PipeWirePlatform::loginItem() { return parts_->loginItem; }
PrivilegedCommand& PipeWirePlatform::privilegedCommand() { return parts_->privileges; }
PowerEvents& PipeWirePlatform::powerEvents() { return parts_->power; }

std::unique_ptr<CaptureEngine> PipeWirePlatform::newCaptureEngine() {
  return std::make_unique<PipeWireCaptureEngine>(parts_->runtime, parts_->hardware);
}

}  // namespace sonmere
