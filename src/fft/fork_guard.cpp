// Handlers around fork.
#include "fft/fork_guard.h"

#if defined(__unix__) || defined(__APPLE__)
#include <pthread.h>

#include <array>
#include <cstddef>
#include <system_error>

namespace kelvo::Fft {
namespace {

constexpr std::size_t kMaxCaches = 8;

// Of constant initialisation, since guards in other files are made while the library is loaded.
constinit std::array<ForkGuard::FindMutex, kMaxCaches> find_mutex_of{};
constinit std::array<std::mutex*, kMaxCaches> locked{};
constinit std::size_t cache_n = 0;

// A lock that cannot be taken is left alone: no exception may leave a handler.
void LockAll() {
  for (std::size_t i = 0; i < cache_n; ++i) {
    try {
      std::mutex& mutex = find_mutex_of[i]();
      mutex.lock();
      locked[i] = &mutex;
    } catch (const std::system_error&) {
    }
  }
}

void UnlockAll() {
  for (std::size_t i = cache_n; i-- > 0;) {
    std::mutex* const mutex = locked[i];
    locked[i] = nullptr;
    if (mutex != nullptr) mutex->unlock();
  }
}

}  // namespace

ForkGuard::ForkGuard(FindMutex find_mutex) {
  // The system forgets the handlers of a library that is unloaded.
  if (cache_n == 0) ::pthread_atfork(LockAll, UnlockAll, UnlockAll);
  if (cache_n < kMaxCaches) find_mutex_of[cache_n++] = find_mutex;
}

}  // namespace kelvo::Fft
#else
namespace kelvo::Fft {

ForkGuard::ForkGuard(FindMutex) {}

}  // namespace kelvo::Fft
#endif
