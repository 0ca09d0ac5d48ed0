#include "control/ControlMethodReaders.h"
#include "control/PluginCodec.h"

namespace sonmere {

namespace {

struct ExtraRequest {
  std::string input;
  InputControl::ExtraEdit edit;
};

// What is left out stays.
InputControl::ExtraEdit readExtraEdit(ControlParams& p) {
  InputControl::ExtraEdit edit;
  edit.name = p.textIf("name");
  edit.channel = p.wholeIf("channel");
  if (const auto volume = p.numberIf("volume")) edit.volume = float(*volume);
  if (const auto pan = p.numberIf("pan")) edit.pan = float(*pan);
  edit.isMuted = p.flagIf("muted");
  return edit;
}

// A scope of plug-ins, one of its plug-ins, and what `read` reads.
template <class T>
struct ForPlugin {
  std::string scope, plugin;
  T value;
};

template <class Read>
auto forPlugin(Read read) {
  return [read](ControlParams& params) {
    std::string scope = params.text("scope"), plugin = params.text("plugin");
    return ForPlugin<decltype(read(params))>{std::move(scope), std::move(plugin), read(params)};
  };
}

}  // namespace

void ControlMethods::addInput() {
  add("input", [this]() -> Outcome<ControlJSON> { return encodeControl(control_.input().state()); });
  add("mic.enable", readFlag("enabled"), [this](bool on) { return answer(control_.input().setEnabled(on)); });
  add(
      "mic.select", [](ControlParams& p) { return p.text("device"); },
      [this](const std::string& device) { return answer(control_.input().select(device)); });
  add("mic.volume", readVolume,
      [this](VolumeRequest request) { return answer(control_.input().setVolume(request)); });
  add(
      "mic.channels", [](ControlParams& p) { return p.text("channels"); },
      [this](const std::string& channels) { return answer(control_.input().setChannels(channels)); });
  add("mic.equaliser", readEqualiser, [this](const ControlJSON& object) -> Outcome<ControlJSON> {
    const auto settings = decodeEqualiser(object);
    if (!settings) return std::unexpected(settings.error());
    return answer(control_.input().setEqualiser(*settings));
  });
  add(
      "mic.limiter", [](ControlParams& p) { return p.numberOrNull("ceilingDb"); },
      [this](const std::optional<double>& ceiling) { return answer(control_.input().setLimiter(ceiling)); });
  add(
      "mic.send", [](ControlParams& p) { return std::pair(p.whole("bus"), p.numberOrNull("volume")); },
      [this](const auto& v) {
        return answer(
            control_.input().setSend(v.first, v.second ? std::optional(float(*v.second)) : std::nullopt));
      });
  addExtraInputs();
  add("inputLock.enable", readFlag("enabled"),
      [this](bool on) { return answer(control_.input().setLock(on)); });
  add(
      "inputLock.select", [](ControlParams& p) { return p.text("device"); },
      [this](const std::string& device) { return answer(control_.input().lockTo(device)); });
}

void ControlMethods::addExtraInputs() {
  add("input.add", readExtraEdit,
      [this](const auto& edit) { return answer(control_.input().addExtra(edit)); });
  add(
      "input.set",
      [](ControlParams& p) {
        std::string input = p.text("input");
        return ExtraRequest{std::move(input), readExtraEdit(p)};
      },
      [this](const ExtraRequest& request) {
        return answer(control_.input().changeExtra(request.input, request.edit));
      });
  add(
      "input.equaliser", [](ControlParams& p) { return std::pair(p.text("input"), p.object("equaliser")); },
      [this](const auto& v) -> Outcome<ControlJSON> {
        const auto settings = decodeEqualiser(v.second);
        if (!settings) return std::unexpected(settings.error());
        InputControl::ExtraEdit edit;
        edit.equaliser = *settings;
        return answer(control_.input().changeExtra(v.first, edit));
      });
  add(
      "input.remove", [](ControlParams& p) { return p.text("input"); },
      [this](const std::string& input) { return answer(control_.input().removeExtra(input)); });
}

void ControlMethods::addPlugins() {
  add("plugins", [this]() -> Outcome<ControlJSON> { return encodeControl(control_.plugins().overview()); });
  addLater(
      "plugins.available", [](ControlParams& p) { return p.textIf("search").value_or(""); },
      [this](const std::string& search, ControlPeer&, const Reply& reply) {
        control_.plugins().available(search, answerLater<std::vector<PluginOffer>>(reply));
      });
  addLater(
      "plugin.info",
      [](ControlParams& p) { return std::pair(p.text("plugin"), p.textIf("scope").value_or("")); },
      [this](const auto& v, ControlPeer&, const Reply& reply) {
        control_.plugins().info(v.first, v.second, answerLater<PluginInfo>(reply));
      });
  add(
      "plugin.chain", [](ControlParams& p) { return p.text("scope"); },
      [this](const std::string& scope) { return answer(control_.plugins().chain(scope)); });
  add(
      "plugin.trust", [](ControlParams& p) { return std::pair(p.text("scope"), p.flag("trusted")); },
      [this](const auto& v) { return answer(control_.plugins().setTrusted(v.first, v.second)); });
  const auto readPath = [](ControlParams& p) { return std::pair(p.text("scope"), p.text("path")); };
  addLater("plugin.save", readPath, [this](const auto& v, ControlPeer&, const Reply& reply) {
    control_.plugins().save(v.first, v.second, answerLater<PluginChainState>(reply));
  });
  add("plugin.load", readPath,
      [this](const auto& v) { return answer(control_.plugins().load(v.first, v.second)); });
}

void ControlMethods::addPluginActs() {
  const auto none = [](ControlParams&) { return 0; };
  addLater("plugin.add", forPlugin([](ControlParams& p) { return p.wholeIf("position"); }),
           [this](const auto& v, ControlPeer&, const Reply& reply) {
             control_.plugins().add(v.scope, v.plugin, v.value, answerLater<PluginChainState>(reply));
           });
  add("plugin.remove", forPlugin(none),
      [this](const auto& v) { return answer(control_.plugins().remove(v.scope, v.plugin)); });
  add("plugin.move", forPlugin([](ControlParams& p) { return p.whole("position"); }),
      [this](const auto& v) { return answer(control_.plugins().move(v.scope, v.plugin, v.value)); });
  add("plugin.bypass", forPlugin(readFlag("bypassed")),
      [this](const auto& v) { return answer(control_.plugins().setBypassed(v.scope, v.plugin, v.value)); });
  addLater("plugin.set",
           forPlugin([](ControlParams& p) { return std::pair(p.text("control"), p.text("value")); }),
           [this](const auto& v, ControlPeer&, const Reply& reply) {
             control_.plugins().setControl(v.scope, v.plugin, v.value.first, v.value.second,
                                           answerLater<PluginChainState>(reply));
           });
  addLater("plugin.preset", forPlugin([](ControlParams& p) { return p.text("preset"); }),
           [this](const auto& v, ControlPeer&, const Reply& reply) {
             control_.plugins().setPreset(v.scope, v.plugin, v.value, answerLater<PluginChainState>(reply));
           });
}

}  // namespace sonmere
