#include "control/desktop/DesktopNotifier.h"

#include <fmt/format.h>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "base/PrintableText.h"

namespace sonmere {

namespace {

constexpr const char* kService = "org.freedesktop.Notifications";
constexpr const char* kObject = "/org/freedesktop/Notifications";
constexpr const char* kShow = "show";
// Desktops keep fewer.
constexpr std::size_t kMostFiles = 32;
constexpr std::uint8_t kNormal = 1, kCritical = 2;

// The text of a notification may be markup.
std::string withoutMarkup(std::string_view text) {
  std::string plain;
  for (const char c : printable(text)) {
    if (c == '&')
      plain += "&amp;";
    else if (c == '<')
      plain += "&lt;";
    else
      plain += c;
  }
  return plain;
}

// As RFC 3986 writes a path.
std::string fileURI(const std::string& path) {
  std::string uri = "file://";
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    const bool isPlain = (byte < 0x80 && std::isalnum(byte)) || std::string_view("-._~/").contains(c);
    uri += isPlain ? std::string(1, c) : fmt::format("%{:02X}", byte);
  }
  return uri;
}

std::string nameOf(const std::string& path) { return std::filesystem::path(path).filename().string(); }

}  // namespace

struct DesktopNotifier::Handlers {
  static int sent(sd_bus_message* answer, void* data, sd_bus_error*) {
    auto* sent = static_cast<Sent*>(data);
    DesktopNotifier& notifier = sent->notifier;
    std::uint32_t number = 0;
    if (!sd_bus_message_is_method_error(answer, nullptr) && sd_bus_message_read(answer, "u", &number) >= 0 &&
        !sent->file.empty())
      notifier.files_[number] = sent->file;
    if (notifier.files_.size() > kMostFiles) notifier.files_.erase(notifier.files_.begin());
    notifier.sent_.remove_if([&](const Sent& each) { return &each == sent; });
    return 0;
  }
  static int pressed(sd_bus_message* signal, void* data, sd_bus_error*) {
    auto* notifier = static_cast<DesktopNotifier*>(data);
    std::uint32_t number = 0;
    const char* button = nullptr;
    if (sd_bus_message_read(signal, "us", &number, &button) < 0) return 0;
    const auto found = notifier->files_.find(number);
    if (found != notifier->files_.end() && std::string_view(button) == kShow) notifier->show(found->second);
    return 0;
  }
  static int shown(sd_bus_message* answer, void* data, sd_bus_error*) {
    if (const sd_bus_error* error = sd_bus_message_get_error(answer))
      static_cast<DesktopNotifier*>(data)->log_.warning(
          fmt::format("Sonmere: no file manager shows the recording: {}", error->message));
    return 0;
  }
};

DesktopNotifier::DesktopNotifier(SessionBus& bus, Log& log, Control& control)
    : bus_(bus), log_(log), control_(control), states_(control), told_(states_.look(Topic::recording)) {
  sd_bus_match_signal_async(bus_.get(), nullptr, kService, kObject, kService, "ActionInvoked",
                            Handlers::pressed, nullptr, this);
  bus_.sent();
  changes_ = control.changes().observe([this](const TopicSet& topics) {
    if (topics.contains(Topic::recording)) look();
  });
}

bool DesktopNotifier::isWanted() const {
  const auto setting = control_.settings().get(kSettingKey);
  return !setting || setting->value != SettingsValue(false);
}

void DesktopNotifier::look() {
  const auto before = std::exchange(told_, states_.look(Topic::recording));
  if (told_ == before || !bus_.get() || !isWanted()) return;
  const TopicJSON &old = before->value.at("facts"), &now = told_->value.at("facts");
  for (const auto& [bus, recording] : old.at("running").items())
    if (!now.at("running").contains(bus)) {
      const std::string file = recording.at("path");
      send({"Recording finished", nameOf(file), false, file});
    }
  const TopicJSON& said = old.at("notices");
  for (const TopicJSON& notice : now.at("notices"))
    if (std::ranges::find(said, notice) == said.end()) send({"Recording", notice, true, ""});
  const TopicJSON error = now.value("error", TopicJSON());
  if (error.is_string() && error != old.value("error", TopicJSON())) send({"Recording", error, true, ""});
}

void DesktopNotifier::tell(const std::string& title, const std::string& text) {
  if (bus_.get() && isWanted()) send({title, text, false, ""});
}

void DesktopNotifier::send(const Notice& notice) {
  sent_.push_back({*this, notice.file});
  const std::string text = withoutMarkup(notice.text);
  sd_bus_message* message = nullptr;
  int status = sd_bus_message_new_method_call(bus_.get(), &message, kService, kObject, kService, "Notify");
  if (status >= 0)
    status =
        sd_bus_message_append(message, "susss", "Sonmere", 0u, "sonmere", notice.title.c_str(), text.c_str());
  if (status >= 0)
    status = notice.file.empty() ? sd_bus_message_append(message, "as", 0)
                                 : sd_bus_message_append(message, "as", 2, kShow, "Show the File");
  if (status >= 0)
    status = sd_bus_message_append(message, "a{sv}i", 2, "urgency", "y",
                                   int(notice.isFailure ? kCritical : kNormal), "desktop-entry", "s",
                                   "com.sonmere.Sonmere", -1);
  if (status >= 0) status = sd_bus_call_async(bus_.get(), nullptr, message, Handlers::sent, &sent_.back(), 0);
  sd_bus_message_unref(message);
  if (status < 0) sent_.pop_back();
  bus_.sent();
}

void DesktopNotifier::show(const std::string& file) {
  sd_bus_call_method_async(bus_.get(), nullptr, "org.freedesktop.FileManager1",
                           "/org/freedesktop/FileManager1", "org.freedesktop.FileManager1", "ShowItems",
                           Handlers::shown, this, "ass", 1, fileURI(file).c_str(), "");
  bus_.sent();
}

}  // namespace sonmere
