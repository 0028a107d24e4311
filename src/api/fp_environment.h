// The floating-point environment in which the library computes, whatever its host has set.
#pragma once

#include <cstdint>

namespace kelvo::Api {

// While one lives, the calling thread rounds to nearest, keeps denormals and takes no traps; after it the host's settings
// are what they were. Hosts often flush denormals on their audio threads, and results must not depend on the thread.
//
// Exception flags may stay raised. To lower them the register would have to be read once more at the end, which waits
// for every operation under way: an eighth of a transform of 256 samples.
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
