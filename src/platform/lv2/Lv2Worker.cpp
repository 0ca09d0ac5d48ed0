#include "platform/lv2/Lv2Worker.h"

#include <algorithm>
#include <cstring>

#include "base/SharedWord.h"

namespace sonmere {

namespace {
// A wake that gets lost costs no more than this.
constexpr Duration kLongestSleep = fromMilliseconds(200);
}  // namespace

void Lv2Worker::Mail::copyIn(std::uint64_t at, const char* from, std::uint64_t bytes) noexcept {
  for (std::uint64_t i = 0; i < bytes; ++i) ring_[(at + i) % kMailBytes] = from[i];
}

void Lv2Worker::Mail::copyOut(std::uint64_t at, char* to, std::uint64_t bytes) const noexcept {
  for (std::uint64_t i = 0; i < bytes; ++i) to[i] = ring_[(at + i) % kMailBytes];
}

bool Lv2Worker::Mail::post(const void* data, std::uint32_t bytes) noexcept {
  const std::uint64_t at = written_.load(std::memory_order_relaxed);
  if (at + sizeof bytes + bytes - read_.load(std::memory_order_acquire) > kMailBytes) return false;
  copyIn(at, reinterpret_cast<const char*>(&bytes), sizeof bytes);
  copyIn(at + sizeof bytes, static_cast<const char*>(data), bytes);
  written_.store(at + sizeof bytes + bytes, std::memory_order_release);
  return true;
}

bool Lv2Worker::Mail::take(std::vector<char>& room, std::uint32_t& bytes) noexcept {
  const std::uint64_t at = read_.load(std::memory_order_relaxed);
  if (at == written_.load(std::memory_order_acquire)) return false;
  copyOut(at, reinterpret_cast<char*>(&bytes), sizeof bytes);
  copyOut(at + sizeof bytes, room.data(), bytes);
  read_.store(at + sizeof bytes + bytes, std::memory_order_release);
  return true;
}

Lv2Worker::Lv2Worker()
    : schedule_{this, [](LV2_Worker_Schedule_Handle self, std::uint32_t bytes, const void* data) {
                  auto& worker = *static_cast<Lv2Worker*>(self);
                  if (!worker.requests_.post(data, bytes)) return LV2_WORKER_ERR_NO_SPACE;
                  worker.asked_.fetch_add(1, std::memory_order_release);
                  wakeSleeper(worker.asked_);
                  return LV2_WORKER_SUCCESS;
                }} {}

Lv2Worker::~Lv2Worker() {
  isOver_ = true;
  asked_.fetch_add(1);
  wakeSleeper(asked_);
  if (thread_.joinable()) thread_.join();
}

void Lv2Worker::attach(LilvInstance* instance) {
  interface_ = static_cast<const LV2_Worker_Interface*>(
      lilv_instance_get_extension_data(instance, LV2_WORKER__interface));
  handle_ = lilv_instance_get_handle(instance);
  if (interface_ && interface_->work) thread_ = std::thread([this] { loop(); });
}

void Lv2Worker::loop() {
  const auto respond = [](LV2_Worker_Respond_Handle self, std::uint32_t bytes, const void* data) {
    return static_cast<Lv2Worker*>(self)->responses_.post(data, bytes) ? LV2_WORKER_SUCCESS
                                                                       : LV2_WORKER_ERR_NO_SPACE;
  };
  while (!isOver_) {
    const std::uint32_t seen = asked_.load(std::memory_order_acquire);
    std::uint32_t bytes = 0;
    while (requests_.take(request_, bytes)) interface_->work(handle_, respond, this, bytes, request_.data());
    sleepOn(asked_, seen, kLongestSleep);
  }
}

void Lv2Worker::deliver() noexcept SONMERE_NONBLOCKING {
  if (!interface_) return;
  std::uint32_t bytes = 0;
  while (interface_->work_response && responses_.take(response_, bytes))
    interface_->work_response(handle_, bytes, response_.data());
  if (interface_->end_run) interface_->end_run(handle_);
}

}  // namespace sonmere
