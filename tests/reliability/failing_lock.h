// The test program's locking of mutexes, which can be made to fail.
#pragma once

namespace kelvo::Reliability {

// While one exists, the calling thread locks no mutex of the library's.
class LockFailures {
 public:
  LockFailures();
  LockFailures(const LockFailures&) = delete;
  LockFailures& operator=(const LockFailures&) = delete;
  ~LockFailures();
};

}  // namespace kelvo::Reliability
