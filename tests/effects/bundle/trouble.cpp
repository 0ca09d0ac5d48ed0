// LV2 plug-ins for tests: gains, of which one does wrong on demand, keeps a number in its state and has its
// worker count, one is for a single channel, and one can't be used at all.
#include <lv2/atom/atom.h>
#include <lv2/core/lv2.h>
#include <lv2/state/state.h>
#include <lv2/urid/urid.h>
#include <lv2/worker/worker.h>

#include <array>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <limits>

namespace {

constexpr const char* kSecret = "urn:sonmere-test:secret";

struct Trouble {
  std::array<float*, 8> ports{};
  const LV2_URID_Map* map = nullptr;
  const LV2_Worker_Schedule* schedule = nullptr;
  std::int32_t runs = 0;  // kept in the state
  float worked = 0;
};

LV2_Handle make(const LV2_Descriptor*, double, const char*, const LV2_Feature* const* features) {
  auto* const made = new Trouble;
  for (; *features; ++features) {
    if (!std::strcmp((*features)->URI, LV2_URID__map))
      made->map = static_cast<const LV2_URID_Map*>((*features)->data);
    if (!std::strcmp((*features)->URI, LV2_WORKER__schedule))
      made->schedule = static_cast<const LV2_Worker_Schedule*>((*features)->data);
  }
  return made;
}

void connect(LV2_Handle self, std::uint32_t port, void* place) {
  static_cast<Trouble*>(self)->ports[port] = static_cast<float*>(place);
}

void run(LV2_Handle self, std::uint32_t frames) {
  auto& t = *static_cast<Trouble*>(self);
  const int trouble = int(*t.ports[5]);
  if (trouble == 1) raise(SIGSEGV);
  for (volatile bool hangs = trouble == 2; hangs;) {
  }
  for (std::size_t side = 0; side < 2; ++side)
    for (std::uint32_t i = 0; i < frames; ++i)
      t.ports[2 + side][i] =
          trouble == 3 ? std::numeric_limits<float>::quiet_NaN() : t.ports[side][i] * *t.ports[4];
  ++t.runs;
  t.schedule->schedule_work(t.schedule->handle, sizeof t.runs, &t.runs);
  *t.ports[6] = 7;
  *t.ports[7] = t.worked;
}

void runMono(LV2_Handle self, std::uint32_t frames) {
  auto& t = *static_cast<Trouble*>(self);
  for (std::uint32_t i = 0; i < frames; ++i) t.ports[1][i] = t.ports[0][i] * *t.ports[2];
}

void runBrittle(LV2_Handle, std::uint32_t) { raise(SIGSEGV); }

void destroy(LV2_Handle self) { delete static_cast<Trouble*>(self); }

LV2_State_Status save(LV2_Handle self, LV2_State_Store_Function store, LV2_State_Handle state, std::uint32_t,
                      const LV2_Feature* const*) {
  const auto& t = *static_cast<Trouble*>(self);
  return store(state, t.map->map(t.map->handle, kSecret), &t.runs, sizeof t.runs,
               t.map->map(t.map->handle, LV2_ATOM__Int), LV2_STATE_IS_POD | LV2_STATE_IS_PORTABLE);
}

LV2_State_Status restore(LV2_Handle self, LV2_State_Retrieve_Function retrieve, LV2_State_Handle state,
                         std::uint32_t, const LV2_Feature* const*) {
  auto& t = *static_cast<Trouble*>(self);
  std::size_t bytes = 0;
  std::uint32_t type = 0, flags = 0;
  const void* const value = retrieve(state, t.map->map(t.map->handle, kSecret), &bytes, &type, &flags);
  if (value && bytes == sizeof t.runs) std::memcpy(&t.runs, value, sizeof t.runs);
  return LV2_STATE_SUCCESS;
}

LV2_Worker_Status work(LV2_Handle, LV2_Worker_Respond_Function respond, LV2_Worker_Respond_Handle handle,
                       std::uint32_t bytes, const void* data) {
  return respond(handle, bytes, data);
}

LV2_Worker_Status workResponse(LV2_Handle self, std::uint32_t, const void*) {
  static_cast<Trouble*>(self)->worked += 1;
  return LV2_WORKER_SUCCESS;
}

const void* extension(const char* uri) {
  static const LV2_State_Interface state{save, restore};
  static const LV2_Worker_Interface worker{work, workResponse, nullptr};
  if (!std::strcmp(uri, LV2_STATE__interface)) return &state;
  return std::strcmp(uri, LV2_WORKER__interface) ? nullptr : &worker;
}

const LV2_Descriptor kPlugins[] = {
    {"urn:sonmere-test:trouble", make, connect, nullptr, run, nullptr, destroy, extension},
    {"urn:sonmere-test:mono", make, connect, nullptr, runMono, nullptr, destroy, nullptr},
    {"urn:sonmere-test:brittle", make, connect, nullptr, runBrittle, nullptr, destroy, nullptr},
    {"urn:sonmere-test:demanding", make, connect, nullptr, runMono, nullptr, destroy, nullptr},
};

}  // namespace

LV2_SYMBOL_EXPORT const LV2_Descriptor* lv2_descriptor(std::uint32_t index) {
  return index < std::size(kPlugins) ? &kPlugins[index] : nullptr;
}
