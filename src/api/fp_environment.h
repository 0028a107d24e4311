// The floating-point environment in which the library computes, whatever the host application has set.
#pragma once

#include <cstdint>

namespace kelvo::Api {

// While one exists, the calling thread rounds to nearest, keeps denormals and takes no traps; its destructor restores
// the host's settings. Hosts often flush denormals on audio threads, and results must not depend on the thread.
//
// Exception flags may stay raised. To clear them the register would have to be read again at the end, which waits for
// every instruction in flight: an eighth of a transform of 256 samples.
class DefaultFpEnvironment {
 public:
  DefaultFpEnvironment();
  DefaultFpEnvironment(const DefaultFpEnvironment&) = delete;
  DefaultFpEnvironment& operator=(const DefaultFpEnvironment&) = delete;
  ~DefaultFpEnvironment();

 private:
  std::uint64_t host_;
};

}  // namespace kelvo::Api
