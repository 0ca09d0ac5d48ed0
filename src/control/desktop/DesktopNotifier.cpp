#include "control/desktop/DesktopNotifier.h"

#include <fmt/format.h>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iterator>

#include "base/PrintableText.h"

namespace sonmere {

namespace {

constexpr const char* kService = "org.freedesktop.Notifications";
constexpr const char* kObject = "/org/freedesktop/Notifications";
constexpr const char* kShow = "show";
// Desktops keep fewer.
constexpr std::size_t kMostNotices = 32;
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
        !sent->files.empty())
      notifier.files_[number] = sent->files;
    if (notifier.files_.size() > kMostNotices) notifier.files_.erase(notifier.files_.begin());
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
  std::vector<std::string> ended;
  for (const auto& [bus, recording] : old.at("running").items())
    if (!now.at("running").contains(bus)) ended.push_back(recording.at("path"));
  if (!ended.empty()) tellEnded(std::move(ended));
  const TopicJSON& said = old.at("notices");
  for (const TopicJSON& notice : now.at("notices"))
    if (std::ranges::find(said, notice) == said.end()) send({"Recording", notice, true, {}});
  const TopicJSON error = now.value("error", TopicJSON());
  if (error.is_string() && error != old.value("error", TopicJSON())) send({"Recording", error, true, {}});
}

void DesktopNotifier::tellEnded(std::vector<std::string> files) {
  std::string text = nameOf(files.front());
  if (files.size() > 1)
    text += fmt::format(" and {} more {}", files.size() - 1, files.size() > 2 ? "files" : "file");
  send({"Recording finished", text, false, std::move(files)});
}

void DesktopNotifier::tell(const std::string& title, const std::string& text) {
  if (bus_.get() && isWanted()) send({title, text, false, {}});
}

void DesktopNotifier::send(const Notice& notice) {
  sent_.push_back({*this, notice.files});
  const std::string text = withoutMarkup(notice.text);
  sd_bus_message* message = nullptr;
  int status = sd_bus_message_new_method_call(bus_.get(), &message, kService, kObject, kService, "Notify");
  if (status >= 0)
    status =
        sd_bus_message_append(message, "susss", "Sonmere", 0u, "sonmere", notice.title.c_str(), text.c_str());
  if (status >= 0)
    status = notice.files.empty()
                 ? sd_bus_message_append(message, "as", 0)
                 : sd_bus_message_append(message, "as", 2, kShow,
                                         notice.files.size() > 1 ? "Show the Files" : "Show the File");
  if (status >= 0)
    status = sd_bus_message_append(message, "a{sv}i", 2, "urgency", "y",
                                   int(notice.isFailure ? kCritical : kNormal), "desktop-entry", "s",
                                   "com.sonmere.Sonmere", -1);
  if (status >= 0) status = sd_bus_call_async(bus_.get(), nullptr, message, Handlers::sent, &sent_.back(), 0);
  sd_bus_message_unref(message);
  if (status < 0) sent_.pop_back();
  bus_.sent();
}

// Selected together. What has another name by now is not to be found: its folder is shown.
void DesktopNotifier::show(const std::vector<std::string>& files) {
  std::vector<std::string> there;
  std::error_code ignored;
  std::ranges::copy_if(files, std::back_inserter(there),
                       [&](const std::string& file) { return std::filesystem::exists(file, ignored); });
  const bool isAnyThere = !there.empty();
  if (!isAnyThere) there.push_back(std::filesystem::path(files.front()).parent_path().string());
  sd_bus_message* message = nullptr;
  int status = sd_bus_message_new_method_call(bus_.get(), &message, "org.freedesktop.FileManager1",
                                              "/org/freedesktop/FileManager1", "org.freedesktop.FileManager1",
                                              isAnyThere ? "ShowItems" : "ShowFolders");
  if (status >= 0) status = sd_bus_message_open_container(message, 'a', "s");
  for (const std::string& file : there)
    if (status >= 0) status = sd_bus_message_append(message, "s", fileURI(file).c_str());
  if (status >= 0) status = sd_bus_message_close_container(message);
  if (status >= 0) status = sd_bus_message_append(message, "s", "");
  if (status >= 0) sd_bus_call_async(bus_.get(), nullptr, message, Handlers::shown, this, 0);
  sd_bus_message_unref(message);
  bus_.sent();
}

}  // namespace sonmere
