// Detection of the non-silent range of a signal.
#pragma once

#include <span>

#include "simd/level.h"

namespace kelvo::Stft {

// In samples; {-1, 0} if no frame counts.
struct NonSilentSpan {
  int start_pos;
  int nonsilent_n;
};

// From the first to the last frame of win_n samples whose mean square lies less than thr_db below the loudest one's.
// Frame t is centred on sample t * hop_n, the ends of the signal mirrored. With hop_n 0 and any frame: std::bad_alloc.
NonSilentSpan FindNonSilentSpan(std::span<const float> src, int win_n, int hop_n, float thr_db, Simd::Level level);

}  // namespace kelvo::Stft
