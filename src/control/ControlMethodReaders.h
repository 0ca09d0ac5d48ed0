#pragma once

#include "control/ControlCodec.h"
#include "control/ControlMethods.h"

// How a method of the service reads what it is given and answers; for the files that list methods.
namespace sonmere {

// The value, or the error, as it is answered.
template <class T>
Outcome<ControlJSON> answer(const Outcome<T>& outcome) {
  if (!outcome) return std::unexpected(outcome.error());
  return encodeControl(*outcome);
}

template <class T>
struct ForApp {
  std::string app;
  T value;
};

// The app, and what `read` reads.
template <class Read>
auto forApp(Read read) {
  return [read](ControlParams& params) {
    std::string app = params.text("app");
    return ForApp<decltype(read(params))>{std::move(app), read(params)};
  };
}

inline constexpr auto readApp = [](ControlParams& params) { return params.text("app"); };
inline constexpr auto readName = [](ControlParams& params) { return params.text("name"); };
inline constexpr auto readBus = [](ControlParams& params) { return params.whole("bus"); };
inline constexpr auto readEqualiser = [](ControlParams& params) { return params.object("equaliser"); };

inline auto readFlag(const char* name) {
  return [name](ControlParams& params) { return params.flag(name); };
}

// Answers when it has come.
template <class T>
auto answerLater(const ControlMethods::Reply& reply) {
  return [reply](const Outcome<T>& outcome) { reply(answer(outcome)); };
}

inline VolumeRequest readVolume(ControlParams& params) {
  using Kind = VolumeRequest::Kind;
  if (const auto step = params.numberIf("step")) return {float(*step), Kind::step};
  if (const auto step = params.numberIf("stepDb")) return {float(*step), Kind::decibelStep};
  const double volume = params.number("volume");
  params.hasAlternative();
  return {float(volume), Kind::level};
}

template <class Read, class Run>
void ControlMethods::addLater(const std::string& name, Read read, Run run) {
  const ControlJSON none = ControlJSON::object();
  ControlParams blank(none);
  read(blank);
  const auto work = [read, run](const Call& call) {
    ControlParams params(call.params);
    const auto values = read(params);
    if (const auto finished = params.finish(); !finished)
      return call.reply(std::unexpected(finished.error()));
    run(values, call.peer, call.reply);
  };
  methods_[name] = {work, blank.asked()};
}

template <class Read, class Run>
void ControlMethods::add(const std::string& name, Read read, Run run) {
  addLater(name, read, [run](const auto& values, ControlPeer&, const Reply& reply) { reply(run(values)); });
}

template <class Run>
void ControlMethods::add(const std::string& name, Run run) {
  add(
      name, [](ControlParams&) { return 0; }, [run](int) { return run(); });
}

}  // namespace sonmere
