// The floating-point environment in which the library computes, whatever its host has set.
#pragma once

#include <cstdint>

namespace kelvo::Api {

// While one lives, the calling thread rounds to nearest, keeps denormals and takes no traps; after it the host's control
// bits and exception flags are what they were. Hosts often flush denormals on their audio threads, and results must not
// depend on the thread. Registers are written only where something differs, since reading is far cheaper.
class DefaultFpEnvironment {
 public:
  DefaultFpEnvironment();
  DefaultFpEnvironment(const DefaultFpEnvironment&) = delete;
  DefaultFpEnvironment& operator=(const DefaultFpEnvironment&) = delete;
  ~DefaultFpEnvironment();

 private:
  std::uint64_t control_;
  std::uint64_t flags_;
};

}  // namespace kelvo::Api
