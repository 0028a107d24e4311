// The frame that all exports share: null checks, then the body in one try block, whose exceptions become a status.
#pragma once

#include <algorithm>
#include <initializer_list>

#include "api/exceptions.h"
#include "api/fp_environment.h"

namespace kelvo::Api {

// The status of the exception being handled; called in a catch block.
int StatusOfCurrentException();

// Runs the body of an export. A null among the required pointers returns before anything else happens.
template <class Body>
int RunExport(std::initializer_list<const void*> required, Body&& body) {
  if (std::find(required.begin(), required.end(), nullptr) != required.end()) return kStatusBadArgument;
  // Around the handlers too, so that failures restore the host's settings as well.
  const DefaultFpEnvironment environment;
  try {
    body();
    return kStatusOk;
  } catch (...) {
    return StatusOfCurrentException();
  }
}

}  // namespace kelvo::Api
