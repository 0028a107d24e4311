// Hashes of the results of all exports, by which builds and platforms are compared.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "reliability/calls.h"

namespace kelvo::Reliability {

// By export, one for each of its settings; the same on every platform. Those of the transforms change with the
// algorithm, whose bits are not promised; all others are.
const std::map<std::string, std::vector<std::uint64_t>>& StoredHashes();

// All results of one setting: counts from one lane to several blocks, each in its turn.
std::uint64_t HashOfResults(const Export& subject, const Scalars& setting);

}  // namespace kelvo::Reliability
