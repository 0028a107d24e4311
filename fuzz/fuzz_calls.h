// Calls the exports of one subsystem with a fuzzer's input.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "reliability/calls.h"

namespace kelvo::Fuzz {

std::vector<std::string_view> SubsystemNames();

// Scalars near one of the export's settings: most of them usual or small, some hostile, as the bytes say.
Reliability::Scalars ChooseScalars(const Reliability::Export& subject, std::span<const std::uint8_t> bytes);

// Makes one call at every kernel level. Aborts, with the scalars printed, unless the status is documented, a failure
// leaves the outputs unchanged, and all levels give the same bits. Unmapped pages around the arrays and the sanitizers
// detect other faults. Calls of more operations are skipped; 100,000 take a fraction of a millisecond.
void RunInput(std::string_view subsystem, std::span<const std::uint8_t> input, double max_operations);

}  // namespace kelvo::Fuzz
