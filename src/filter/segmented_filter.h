// A recursive filter over a long signal that is cut into segments, several of them at a time in lanes.
#pragma once

#include <cstddef>

#include "base/buffers.h"
#include "filter/filter_kernels.h"

namespace kelvo::Filter {

// Filters as much of the signal as pays, with the bits of the recurrence, and returns the number of samples done.
//
// A stable filter settles: runs over the same samples from different states come closer until rounding makes them
// equal, bit for bit. So a segment can be filtered before its initial state is known, from the state in which a warm-up
// over the samples before it ends. This guess is compared with the state in which the segment before ends, and where it
// is wrong the segment is filtered again. Filters that take long to settle are left alone.
template <class Output, class Input>
std::size_t FilterInSegments(const FilterSignal<Output, Input>& signal, const FilterTables& filter,
                             const FilterForms<Output, Input>& forms, Base::CallScratch& scratch);

}  // namespace kelvo::Filter
