// Calls the exports of one subsystem with whatever a fuzzer invents.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace kelvo::Fuzz {

std::vector<std::string_view> SubsystemNames();

// Makes one call at every kernel level. Ends the process, scalars printed, unless the status is documented, failure
// leaves the outputs alone, and all levels give the same bits; pages without access around the arrays and the
// sanitizers see the rest. Calls that would take long are not made.
void RunInput(std::string_view subsystem, std::span<const std::uint8_t> input);

}  // namespace kelvo::Fuzz
