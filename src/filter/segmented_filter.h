// A recursive filter over a long signal, segment by segment side by side.
#pragma once

#include <cstddef>

#include "filter/filter_kernels.h"
#include "filter/segment_kernels.h"

namespace kelvo::Filter {

// Filters as much of the signal as pays, with the bits of `recursive`, and returns the number of samples done.
//
// A stable filter forgets: from some sample on, runs that began in different states go through the same ones, bit for
// bit, because rounding ends what decay leaves. So a segment can be filtered before its initial state is known, from
// the state that a run over some samples before it ends in. The guess is compared with the state that the segment
// before ends in, and where it is wrong the segment is filtered again. Filters that do not forget soon are left alone.
template <class Output, class Input>
std::size_t FilterInSegments(const FilterSignal<Output, Input>& signal, const FilterTables& filter,
                             const FilterPair<Output, Input>& kernels, FilterSegments<Output, Input> run_segments);

}  // namespace kelvo::Filter
