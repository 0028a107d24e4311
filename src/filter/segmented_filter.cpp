// Guesses the states in which segments begin, filters them in lanes, and checks the guesses.
#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

#include "filter/linear_filter.h"

namespace kelvo::Filter {
namespace {

// Samples of a segment, which should outweigh its warm-up: 512 at least were up to 20 % slower where a filter settles
// quickly, and 4096 or 16384 at most made no difference.
constexpr std::size_t kMinLength = 2048;
constexpr std::size_t kMaxLength = 8192;
// Scratch memory is allocated anew for each call and costs page faults; half or four times as much is within 2 %.
constexpr std::size_t kMaxScratchBytes = 65536;
// Checks of a segment's state, and the least number of samples between two: with 8 checks an eighth-order filter was 3
// % slower, with 256 samples 3 to 5 %.
constexpr std::size_t kCheckN = 16;
constexpr std::size_t kMinCheckDistance = 64;
// Samples to measure the settling time with: some 3 % of the call's time, which is lost if the filter settles too
// slowly.
constexpr std::size_t ChooseMeasured(std::size_t count, std::size_t length) { return count / (64 + 12 * length); }
// With fewer there is little to gain.
constexpr std::size_t kMinMeasured = 2 * kSegmentBlock;

constexpr std::size_t RoundUpToBlocks(std::size_t count) {
  return (count + kSegmentBlock - 1) / kSegmentBlock * kSegmentBlock;
}

std::uint64_t BitsOf(double value) { return __builtin_bit_cast(std::uint64_t, value); }

// The states of kSegmentN segments: value k of segment s at [k * kSegmentN + s].

bool IsStateOf(std::size_t s, const double* states, const double* state, std::size_t state_n) {
  for (std::size_t k = 0; k < state_n; ++k) {
    if (BitsOf(states[k * kSegmentN + s]) != BitsOf(state[k])) return false;
  }
  return true;
}

bool AreOneState(const double* states, std::size_t state_n) {
  std::uint64_t difference = 0;
  for (std::size_t k = 0; k < state_n; ++k, states += kSegmentN) {
    const auto first = BitsOf(states[0]);
    for (std::size_t s = 1; s < kSegmentN; ++s) difference |= BitsOf(states[s]) ^ first;
  }
  return difference == 0;
}

template <class Output, class Input>
class SegmentedFilter {
 public:
  SegmentedFilter(const FilterSignal<Output, Input>& signal, const FilterTables& filter,
                  const FilterForms<Output, Input>& forms, Base::CallScratch& scratch)
      : signal_(signal),
        filter_(filter),
        forms_(forms),
        is_in_place_(static_cast<const void*>(signal.dst) == signal.src),
        state_n_(filter.length - 1),
        states_(scratch.Take<double>((kCheckN + 1) * state_n_ * kSegmentN)) {}

  // Measures with up to `measured_n` samples.
  std::size_t Run(std::size_t measured_n) {
    const std::size_t settling_n = MeasureSettling(measured_n);
    if (settling_n == 0) return 0;
    const std::size_t max_length = is_in_place_ ? kMaxScratchBytes / (kSegmentN * sizeof(Input)) : kMaxLength;
    std::size_t pause = 0;
    for (std::size_t i = 0;;) {
      const std::size_t block_n =
          std::min({std::max(8 * settling_n, kMinLength), max_length, (signal_.count - i) / kSegmentN}) / kSegmentBlock;
      if (block_n == 0) return i;
      // An odd number of blocks apart, segments do not compete for the same sets of L1.
      const std::size_t length = ((block_n - 1) | 1) * kSegmentBlock;
      if (length < std::max(settling_n, kMinCheckDistance)) return i;
      const std::size_t wrong_n = FilterSegmentsFrom(i, length, settling_n);
      i += length * kSegmentN;
      // Where most guesses were wrong, in silence or because the signal settled too soon where it was measured, the
      // next ones would be, too.
      if (2 * wrong_n < length * kSegmentN) {
        pause = 0;
      } else {
        pause = 2 * pause + length * kSegmentN;
        const std::size_t count = std::min(pause, signal_.count - i);
        forms_.recursive({signal_.dst + At(i), signal_.src + At(i), signal_.step, count}, filter_);
        i += count;
      }
    }
  }

 private:
  std::ptrdiff_t At(std::size_t i) const { return static_cast<std::ptrdiff_t>(i) * signal_.step; }
  double* StatesAt(std::size_t check) { return states_.data() + check * state_n_ * kSegmentN; }

  // The segments from dst and src on, each through `count` samples.
  void FilterSegments(Output* dst, const Input* src, std::ptrdiff_t apart, std::size_t count, double* states) const {
    forms_.segments({dst, src, signal_.step, apart, count}, filter_, states);
  }

  // The settling time: samples until runs from different states have become one, or 0 if that takes too long.
  std::size_t MeasureSettling(std::size_t measured_n) {
    double* const states = StatesAt(0);
    for (std::size_t i = 0; i < state_n_ * kSegmentN; ++i) states[i] = static_cast<double>(i % kSegmentN) / kSegmentN;
    // In the middle, because signals often begin and end in silence.
    const std::size_t begin = signal_.count / 2;
    for (std::size_t i = 0; i + kSegmentBlock <= measured_n; i += kSegmentBlock) {
      FilterSegments(nullptr, signal_.src + At(begin + i), 0, kSegmentBlock, states);
      if (AreOneState(states, state_n_)) return i + kSegmentBlock;
    }
    return 0;
  }

  // kSegmentN segments, the first from sample i on. Gives the number of samples that had to be filtered again.
  std::size_t FilterSegmentsFrom(std::size_t i, std::size_t length, std::size_t settling_n) {
    const Input* const src = is_in_place_ ? CopyInputs(i, length * kSegmentN) : signal_.src + At(i);
    Output* const dst = signal_.dst + At(i);
    GuessStates(src, length, settling_n);
    const std::size_t distance = std::max(RoundUpToBlocks((length + kCheckN - 1) / kCheckN), kMinCheckDistance);
    const std::size_t check_n = (length + distance - 1) / distance;
    const auto samples_after = [&](std::size_t check) { return std::min(distance, length - check * distance); };
    for (std::size_t check = 0; check < check_n; ++check) {
      const std::ptrdiff_t offset = At(check * distance);
      std::copy_n(StatesAt(check), state_n_ * kSegmentN, StatesAt(check + 1));
      FilterSegments(dst + offset, src + offset, At(length), samples_after(check), StatesAt(check + 1));
    }
    std::size_t wrong_n = 0;
    for (std::size_t s = 0; s < kSegmentN; ++s) {
      std::size_t check = 0;
      for (; check < check_n && !IsStateOf(s, StatesAt(check), filter_.state, state_n_); ++check) {
        const std::ptrdiff_t offset = At(s * length + check * distance);
        forms_.recursive({dst + offset, src + offset, signal_.step, samples_after(check)}, filter_);
        wrong_n += samples_after(check);
      }
      if (check == check_n) continue;
      // From this check on the run from the guess was right.
      const double* const final_states = StatesAt(check_n);
      for (std::size_t k = 0; k < state_n_; ++k) filter_.state[k] = final_states[k * kSegmentN + s];
    }
    return wrong_n;
  }

  // Leaves in StatesAt(0) what the segments begin with: the first knows its state, the others warm up from zeros over
  // the end of the segment before.
  void GuessStates(const Input* src, std::size_t length, std::size_t settling_n) {
    double* const states = StatesAt(0);
    std::fill_n(states, state_n_ * kSegmentN, 0.0);
    FilterSegments(nullptr, src + At(length - settling_n), At(length), settling_n, states);
    for (std::size_t k = 0; k < state_n_; ++k) {
      double* const values = states + k * kSegmentN;
      std::copy_backward(values, values + kSegmentN - 1, values + kSegmentN);
      values[0] = filter_.state[k];
    }
  }

  // The outputs overwrite the inputs, which segments with a wrong guess need again.
  const Input* CopyInputs(std::size_t i, std::size_t count) {
    inputs_.resize(count);
    const Input* const first = signal_.src + At(i);
    const bool is_reverse = signal_.step < 0;
    std::copy_n(is_reverse ? first - (count - 1) : first, count, inputs_.data());
    return is_reverse ? &inputs_.back() : inputs_.data();
  }

  const FilterSignal<Output, Input>& signal_;
  const FilterTables& filter_;
  const FilterForms<Output, Input>& forms_;
  bool is_in_place_;
  std::size_t state_n_;
  std::span<double> states_;  // those of all segments at each check, and at the end
  std::vector<Input> inputs_;
};

}  // namespace

template <class Output, class Input>
std::size_t FilterInSegments(const FilterSignal<Output, Input>& signal, const FilterTables& filter,
                             const FilterForms<Output, Input>& forms, Base::CallScratch& scratch) {
  const std::size_t measured_n = ChooseMeasured(signal.count, filter.length);
  if (measured_n < kMinMeasured) return 0;
  return SegmentedFilter<Output, Input>(signal, filter, forms, scratch).Run(measured_n);
}

template std::size_t FilterInSegments(const FilterSignal<float, float>&, const FilterTables&,
                                      const FilterForms<float, float>&, Base::CallScratch&);
template std::size_t FilterInSegments(const FilterSignal<double, float>&, const FilterTables&,
                                      const FilterForms<double, float>&, Base::CallScratch&);
template std::size_t FilterInSegments(const FilterSignal<float, double>&, const FilterTables&,
                                      const FilterForms<float, double>&, Base::CallScratch&);

}  // namespace kelvo::Filter
