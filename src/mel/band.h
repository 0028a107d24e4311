// The part of a filter's row that matters.
#pragma once

#include <cstddef>

namespace kelvo::Mel {

// The columns first to last - 1 of a row hold all of its weights that differ from 0; a NaN differs. A row of zeros has
// first == last == 0.
struct Band {
  std::size_t first;
  std::size_t last;
};

}  // namespace kelvo::Mel
