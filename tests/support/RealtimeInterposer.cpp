// The allocator and the locks of the C library, each counted when a watched thread calls it.
#include "support/RealtimeWatch.h"

#ifndef SONMERE_SANITIZED

#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
#include <semaphore.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>

using sonmere::realtime_watch::Kind;
using sonmere::realtime_watch::note;
using sonmere::realtime_watch::watched;

namespace {

inline void check(Kind kind, const char* name) {
  if (watched) [[unlikely]]
    note(kind, name);
}

// The library's own function behind ours, looked up at the first call. The condition variables have an old
// and a new form; the unversioned look-up would find the old one.
template <class Function>
class Original {
 public:
  constexpr explicit Original(const char* name, const char* version = nullptr)
      : name_(name), version_(version) {}
  Function* get() {
    if (Function* found = function_.load(std::memory_order_relaxed)) return found;
    void* symbol = version_ ? dlvsym(RTLD_NEXT, name_, version_) : nullptr;
    if (!symbol) symbol = dlsym(RTLD_NEXT, name_);
    if (!symbol) std::abort();
    auto* const function = reinterpret_cast<Function*>(symbol);
    function_.store(function, std::memory_order_relaxed);
    return function;
  }

 private:
  const char* name_;
  const char* version_;
  std::atomic<Function*> function_{nullptr};
};

#if defined(__x86_64__)
constexpr const char* kConditionVersion = "GLIBC_2.3.2";
#else
constexpr const char* kConditionVersion = nullptr;
#endif

}  // namespace

extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* pointer, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* pointer);

void* malloc(std::size_t size) noexcept {
  check(Kind::allocation, "malloc");
  return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) noexcept {
  check(Kind::allocation, "calloc");
  return __libc_calloc(count, size);
}
void* realloc(void* pointer, std::size_t size) noexcept {
  check(Kind::allocation, "realloc");
  return __libc_realloc(pointer, size);
}
void* memalign(std::size_t alignment, std::size_t size) noexcept {
  check(Kind::allocation, "memalign");
  return __libc_memalign(alignment, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  check(Kind::allocation, "aligned_alloc");
  return __libc_memalign(alignment, size);
}
int posix_memalign(void** result, std::size_t alignment, std::size_t size) noexcept {
  check(Kind::allocation, "posix_memalign");
  if (alignment % sizeof(void*) != 0 || (alignment & (alignment - 1)) != 0 || alignment == 0) return EINVAL;
  void* const pointer = __libc_memalign(alignment, size);
  if (!pointer) return ENOMEM;
  *result = pointer;
  return 0;
}
void free(void* pointer) noexcept {
  if (pointer) check(Kind::free, "free");
  __libc_free(pointer);
}

// Defines one lock operation that counts itself and goes on to the library's own.
#define SONMERE_COUNTED(name, specifier, version, parameters, arguments) \
  int name parameters specifier {                                        \
    static constinit Original<int parameters> original(#name, version);  \
    check(Kind::lock, #name);                                            \
    return original.get() arguments;                                     \
  }
#define SONMERE_MUTEX(name) SONMERE_COUNTED(name, noexcept, nullptr, (pthread_mutex_t * lock), (lock))
#define SONMERE_RWLOCK(name) SONMERE_COUNTED(name, noexcept, nullptr, (pthread_rwlock_t * lock), (lock))

SONMERE_MUTEX(pthread_mutex_lock)
SONMERE_MUTEX(pthread_mutex_trylock)
SONMERE_RWLOCK(pthread_rwlock_rdlock)
SONMERE_RWLOCK(pthread_rwlock_wrlock)
SONMERE_RWLOCK(pthread_rwlock_tryrdlock)
SONMERE_RWLOCK(pthread_rwlock_trywrlock)
SONMERE_COUNTED(pthread_spin_lock, noexcept, nullptr, (pthread_spinlock_t * lock), (lock))
SONMERE_COUNTED(pthread_mutex_timedlock, noexcept, nullptr, (pthread_mutex_t * lock, const timespec* until),
                (lock, until))
SONMERE_COUNTED(pthread_cond_wait, , kConditionVersion, (pthread_cond_t * condition, pthread_mutex_t* lock),
                (condition, lock))
SONMERE_COUNTED(pthread_cond_timedwait, , kConditionVersion,
                (pthread_cond_t * condition, pthread_mutex_t* lock, const timespec* until),
                (condition, lock, until))
SONMERE_COUNTED(pthread_cond_clockwait, , nullptr,
                (pthread_cond_t * condition, pthread_mutex_t* lock, clockid_t clock, const timespec* until),
                (condition, lock, clock, until))
SONMERE_COUNTED(pthread_cond_signal, noexcept, kConditionVersion, (pthread_cond_t * condition), (condition))
SONMERE_COUNTED(pthread_cond_broadcast, noexcept, kConditionVersion, (pthread_cond_t * condition),
                (condition))
SONMERE_COUNTED(sem_wait, , nullptr, (sem_t * semaphore), (semaphore))
SONMERE_COUNTED(sem_post, noexcept, nullptr, (sem_t * semaphore), (semaphore))

}  // extern "C"

#endif

namespace sonmere::realtime_watch {
void linkInterposer() noexcept {}
}  // namespace sonmere::realtime_watch
