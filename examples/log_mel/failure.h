// What this program reports and then ends with.
#pragma once

#include <stdexcept>

namespace log_mel {

// One line about something that did not work: exit code 1.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// A call of the program that makes no sense: exit code 2.
struct WrongUsage : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace log_mel
