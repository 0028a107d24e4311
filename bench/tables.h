// The results as Markdown.
#pragma once

#include <iosfwd>
#include <span>

#include "harness.h"

namespace kelvo::Bench {

// One table a section, and a list of the rows in which ours is behind.
void WriteTables(std::ostream& out, std::span<const RowResult> rows);

}  // namespace kelvo::Bench
