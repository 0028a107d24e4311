// The entry point for libFuzzer. KELVO_SUBSYSTEM is the subsystem's name.
#include <cstdlib>

#include "fuzz_calls.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  static const char* const set = std::getenv("FUZZ_MAX_OPERATIONS");
  static const double max_operations = set == nullptr ? 1e5 : std::atof(set);
  kelvo::Fuzz::RunInput(KELVO_SUBSYSTEM, {bytes, count}, max_operations);
  return 0;
}
