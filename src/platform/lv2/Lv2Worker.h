#pragma once

#include <lilv/lilv.h>
#include <lv2/worker/worker.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "base/RealtimeScope.h"

namespace sonmere {

// What a plug-in does beside its audio: it asks from its render, the work is done on a thread of its own, and
// the answers are given back in the render.
class Lv2Worker {
 public:
  Lv2Worker();
  // The work under way ends first.
  ~Lv2Worker();
  Lv2Worker(const Lv2Worker&) = delete;
  Lv2Worker& operator=(const Lv2Worker&) = delete;

  LV2_Worker_Schedule* schedule() { return &schedule_; }
  // The instance is there; without the worker's interface nothing is ever done. The thread starts with the
  // first instance that has it.
  void attach(LilvInstance* instance);
  // After the plug-in's run. Render thread.
  void deliver() noexcept SONMERE_NONBLOCKING;

 private:
  // Messages of a size and its bytes, from one thread to one other.
  class Mail {
   public:
    bool post(const void* data, std::uint32_t bytes) noexcept;
    // False when there is none. `room` is of kMailBytes.
    bool take(std::vector<char>& room, std::uint32_t& bytes) noexcept;

   private:
    void copyIn(std::uint64_t at, const char* from, std::uint64_t bytes) noexcept;
    void copyOut(std::uint64_t at, char* to, std::uint64_t bytes) const noexcept;
    std::vector<char> ring_ = std::vector<char>(kMailBytes);
    std::atomic<std::uint64_t> written_{0}, read_{0};
  };
  static constexpr std::size_t kMailBytes = 64 * 1024;

  void loop();

  LV2_Worker_Schedule schedule_;
  const LV2_Worker_Interface* interface_ = nullptr;
  LV2_Handle handle_ = nullptr;
  Mail requests_, responses_;
  std::vector<char> request_ = std::vector<char>(kMailBytes), response_ = request_;
  std::atomic<std::uint32_t> asked_{0};
  std::atomic<bool> isOver_{false};
  std::thread thread_;
};

}  // namespace sonmere
