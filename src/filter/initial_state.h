// The state in which a filter has settled on a constant input.
#pragma once

#include <span>

namespace kelvo::Filter {

// The state from which the recurrence of LinerFilterCore, fed with ones, gives a constant output from the first sample
// on; scale it by the signal's first sample. dst receives the state, then zeros; a shorter dst receives its beginning.
// Result is float or double. Fails with KelvoInvalidArgument where a coefficient list is empty.
template <class Result>
void LinerFilterZi(std::span<Result> dst, std::span<const float> n_coef, std::span<const float> d_coef);

}  // namespace kelvo::Filter
