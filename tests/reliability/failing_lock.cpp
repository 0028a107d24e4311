// The linker redirects the library's locking to the function here.
#include "reliability/failing_lock.h"

#include <pthread.h>

#include <cerrno>

namespace kelvo::Reliability {
namespace {

thread_local bool locks_fail = false;

}  // namespace

LockFailures::LockFailures() { locks_fail = true; }
LockFailures::~LockFailures() { locks_fail = false; }

int RealLock(pthread_mutex_t* mutex) __asm__("__real_pthread_mutex_lock");
int LockUnderTest(pthread_mutex_t* mutex) __asm__("__wrap_pthread_mutex_lock");

int LockUnderTest(pthread_mutex_t* mutex) { return locks_fail ? EAGAIN : RealLock(mutex); }

}  // namespace kelvo::Reliability
