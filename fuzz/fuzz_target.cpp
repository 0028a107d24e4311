// The entry point for libFuzzer. KELVO_SUBSYSTEM is the subsystem's name.
#include "fuzz_calls.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  kelvo::Fuzz::RunInput(KELVO_SUBSYSTEM, {bytes, count});
  return 0;
}
