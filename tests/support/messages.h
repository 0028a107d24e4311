// What a check says.
#pragma once

#include <string>

#include "api/exceptions.h"

namespace kelvo::Support {

// The message of the KelvoInvalidArgument that `call` throws; "" if it throws none.
template <class Call>
std::string MessageOf(Call&& call) {
  try {
    call();
  } catch (const Util::Exceptions::KelvoInvalidArgument& error) {
    return error.what();
  }
  return "";
}

}  // namespace kelvo::Support
