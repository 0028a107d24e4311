// The errors with which this program ends.
#pragma once

#include <stdexcept>

namespace log_mel {

// One line about what failed: exit code 1.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// A wrong command line: exit code 2.
struct WrongUsage : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace log_mel
