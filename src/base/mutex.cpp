// Handlers around fork.
#include "base/mutex.h"

#if defined(__unix__) || defined(__APPLE__)
#include <pthread.h>

#include <array>
#include <cstddef>
#include <system_error>

namespace kelvo::Base {
namespace {

constexpr std::size_t kMaxCaches = 8;

// Constant-initialised, since guards in other files are constructed while the library is loaded.
constinit std::array<ForkGuard::FindMutex, kMaxCaches> find_mutex_of{};
constinit std::array<Mutex*, kMaxCaches> locked{};
constinit std::size_t cache_n = 0;

// A lock that cannot be taken is left alone: no exception may leave a handler. The compiler cannot follow locks that
// one function takes and another releases.
void LockAll() KELVO_NO_THREAD_ANALYSIS {
  for (std::size_t i = 0; i < cache_n; ++i) {
    try {
      Mutex& mutex = find_mutex_of[i]();
      mutex.Lock();
      locked[i] = &mutex;
    } catch (const std::system_error&) {
    }
  }
}

void UnlockAll() KELVO_NO_THREAD_ANALYSIS {
  for (std::size_t i = cache_n; i-- > 0;) {
    Mutex* const mutex = locked[i];
    locked[i] = nullptr;
    if (mutex != nullptr) mutex->Unlock();
  }
}

}  // namespace

ForkGuard::ForkGuard(FindMutex find_mutex) noexcept {
  // The system removes the handlers of a library that is unloaded.
  if (cache_n == 0) ::pthread_atfork(LockAll, UnlockAll, UnlockAll);
  if (cache_n < kMaxCaches) find_mutex_of[cache_n++] = find_mutex;
}

}  // namespace kelvo::Base
#else
namespace kelvo::Base {

ForkGuard::ForkGuard(FindMutex) noexcept {}

}  // namespace kelvo::Base
#endif
