// Sample-rate conversion: designs the filters, and cuts the signal into segments for the kernels.
#include "filter/resample.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <numeric>
#include <vector>

#include "base/buffers.h"
#include "base/extension.h"
#include "base/int_math.h"
#include "math/bits.h"
#include "math/functions.h"

namespace kelvo::Filter {
namespace {

constexpr double kPi = 3.141592653589793;

// Blackman's window over kTapN points, centred on t = 0.
double WindowAt(double t) {
  constexpr double kWidth = static_cast<double>(kTapN);
  return (Math::Cos(t * (2.0 * kPi) / kWidth) * 0.5 + 0.42) + Math::Cos(t * (4.0 * kPi) / kWidth) * 0.08;
}

double SincAt(double t, double cutoff) {
  if (Math::Abs(t) <= std::numeric_limits<double>::epsilon()) return cutoff;
  return Math::Sin(t * kPi * cutoff) / (t * kPi);
}

// A block of all segments is to stay in L2, in memory small enough to be allocated without page faults. Half as many
// inputs were 4 to 13 % slower, twice as many 4 % slower to 6 % faster; outputs likewise, by up to 7 and 3 %.
constexpr std::size_t kBlockInputN = 256;
constexpr std::size_t kBlockOutputN = 256;
// Longer blocks where an output advances by many inputs: two blocks share a filter's length of inputs, which would
// otherwise be a large part of each. Half and twice the length are within 2 %.
constexpr int kLargeStep = 4;
constexpr std::size_t kLongBlockInputN = 1024;
// Signals for which an allocation would matter.
constexpr std::size_t kShortSignalN = 2048;

// The whole conversion, cut into `segment_n` segments of whole cycles.
struct Segments {
  std::size_t segment_n;
  std::size_t output_n;  // outputs of each segment; the last segments may have fewer, or none
  std::int64_t input_n;  // input samples from one segment to the next
};

// Outputs whose position in the input lies before its last sample; at least one.
std::size_t CountOutputs(const ResampleFilter& filter, std::size_t src_n, std::size_t limit) {
  // Position of output m is floor((first_phase + m down) / up): 64 bits hold it.
  const auto numerator = (static_cast<std::int64_t>(src_n) - 1) * filter.up - filter.phase[0];
  const std::int64_t count = (numerator + filter.down - 1) / filter.down;
  return static_cast<std::size_t>(std::min(count, static_cast<std::int64_t>(limit)));
}

std::int64_t PositionOf(const ResampleFilter& filter, std::size_t output) {
  return (filter.phase[0] + static_cast<std::int64_t>(output) * filter.down) / filter.up;
}

// Many segments fill vectors and hide latencies, but the last of them may come out empty. The weights are measured
// costs of an output and of an input sample, relative to one another; they only decide about speed.
Segments ChooseSegments(const ResampleFilter& filter, std::size_t output_n) {
  const auto up = static_cast<std::size_t>(filter.up);
  const std::size_t cycle_n = (output_n + up - 1) / up;
  Segments best{};
  double least_cost = std::numeric_limits<double>::infinity();
  for (const std::size_t segment_n : kSegmentCounts) {
    const std::size_t segment_cycles = (cycle_n + segment_n - 1) / segment_n;
    const auto width = static_cast<double>(segment_n);
    const double cost_of_output = 1.0 + 4.0 / width;
    constexpr double kCostOfInput = 0.08;  // half and twice that choose as well for usual rates
    const double outputs = static_cast<double>(std::min(segment_cycles * up, output_n));
    const double inputs = static_cast<double>(segment_cycles) * static_cast<double>(filter.down) + 2.0 * kTapReach;
    const double cost = width * (outputs * cost_of_output + inputs * kCostOfInput);
    if (cost < least_cost) {
      least_cost = cost;
      best = {segment_n, segment_cycles * up, static_cast<std::int64_t>(segment_cycles) * filter.down};
    }
  }
  return best;
}

class SegmentedResampler {
 public:
  SegmentedResampler(const ResampleFilter& filter, std::span<const float> src, std::size_t output_n, Simd::Level level,
                     Base::CallScratch& scratch)
      : filter_(filter),
        kernels_(Simd::KernelsFor<ResampleKernels>(level)),
        src_(src),
        output_n_(output_n),
        segments_(ChooseSegments(filter, output_n)) {
    segments_.output_n = std::min(segments_.output_n, output_n);
    // From one output to the n-th after it the position advances by at most n down / up + 1.
    const std::size_t most_inputs = filter.down / filter.up < kLargeStep ? kBlockInputN : kLongBlockInputN;
    const auto apart = static_cast<std::int64_t>(most_inputs - kTapN - 1) * filter.up / filter.down;
    block_output_n_ = std::min({static_cast<std::size_t>(apart) + 1, kBlockOutputN, segments_.output_n});
    // A short signal is rather cut in more blocks than taken to the heap.
    for (std::size_t n = block_output_n_; src.size() <= kShortSignalN && n > 1; n = (n + 1) / 2) {
      if (ScratchBytes(n) > scratch.StackLeft()) continue;
      block_output_n_ = n;
      break;
    }
    block_input_n_ = InputCount(block_output_n_);
    interleaved_ = scratch.Take<double>(segments_.segment_n * block_input_n_).data();
    edges_ = scratch.Take<float>(EdgeAndOutputCount(block_output_n_)).data();
  }

  // dst is as long as the conversion.
  void Run(float* dst) {
    for (std::size_t first = 0; first < segments_.output_n; first += block_output_n_) {
      RunBlock(dst, first, std::min(block_output_n_, segments_.output_n - first));
    }
  }

 private:
  // Inputs of `output_n` outputs, at most.
  std::size_t InputCount(std::size_t output_n) const {
    return static_cast<std::size_t>(static_cast<std::int64_t>(output_n - 1) * filter_.down / filter_.up + 1) + kTapN;
  }

  // Floats that hold the inputs cut out at the ends of the signal, and after they have been interleaved the outputs.
  std::size_t EdgeAndOutputCount(std::size_t output_n) const {
    const auto input_n = static_cast<std::int64_t>(InputCount(output_n));
    // Segments whose inputs begin before the signal are most in the first block, those whose inputs end after it in the
    // last one.
    const auto reach = static_cast<std::int64_t>(kTapReach);
    const std::int64_t last = PositionOf(filter_, segments_.output_n - 1) - reach + input_n;
    const std::int64_t before_n = (reach + segments_.input_n - 1) / segments_.input_n;
    const std::int64_t inside_n =
        std::max<std::int64_t>(static_cast<std::int64_t>(src_.size()) - last + segments_.input_n, 0) /
        segments_.input_n;
    const auto segment_n = static_cast<std::int64_t>(segments_.segment_n);
    const std::int64_t edge_n = std::min(before_n + std::max<std::int64_t>(segment_n - inside_n, 0), segment_n);
    return std::max(static_cast<std::size_t>(edge_n * input_n), segments_.segment_n * output_n);
  }

  std::size_t ScratchBytes(std::size_t output_n) const {
    return segments_.segment_n * InputCount(output_n) * sizeof(double) + EdgeAndOutputCount(output_n) * sizeof(float) +
           Base::CallScratch::kLineBytes;
  }

  // Outputs `first` to `first + count` of each segment.
  void RunBlock(float* dst, std::size_t first, std::size_t count) {
    const std::int64_t position = PositionOf(filter_, first);
    const auto input_n = static_cast<std::size_t>(PositionOf(filter_, first + count - 1) - position) + kTapN;
    std::array<const float*, kMaxSegmentN> inputs;
    std::array<float*, kMaxSegmentN> outputs;
    std::array<std::size_t, kMaxSegmentN> counts;
    float* edge = edges_;
    for (std::size_t s = 0; s < segments_.segment_n; ++s) {
      const std::size_t begin = std::min(s * segments_.output_n + first, output_n_);
      counts[s] = std::min(count, output_n_ - begin);
      outputs[s] = dst + begin;
      // An empty segment computes along with the first one.
      inputs[s] = counts[s] == 0 ? inputs[0] : CutInput(s, position, input_n, edge);
    }
    std::array<double, kMaxSegmentN> largest;
    kernels_.interleave(interleaved_, largest.data(), inputs.data(), segments_.segment_n, input_n);
    const auto up = static_cast<std::size_t>(filter_.up);
    float* const output = edges_;
    kernels_.filter(
        output, interleaved_, largest.data(), segments_.segment_n, count,
        {filter_.taps.data(), filter_.phase.data(), filter_.step.data(), up, first % up, filter_.sum_error});
    kernels_.deinterleave(outputs.data(), counts.data(), output, segments_.segment_n);
  }

  // `count` samples of the signal around `position` of segment s, zeros beyond its ends: then they are put at `edge`,
  // which moves on.
  const float* CutInput(std::size_t s, std::int64_t position, std::size_t count, float*& edge) {
    const auto begin =
        static_cast<std::int64_t>(s) * segments_.input_n + position - static_cast<std::int64_t>(kTapReach);
    const auto src_n = static_cast<std::int64_t>(src_.size());
    const auto end = begin + static_cast<std::int64_t>(count);
    if (begin >= 0 && end <= src_n) return src_.data() + begin;
    float* const cut = edge;
    Base::ExtractFrameZero({cut, count}, src_, begin, 0);
    edge += count;
    return cut;
  }

  const ResampleFilter& filter_;
  const ResampleKernels& kernels_;
  std::span<const float> src_;
  std::size_t output_n_;
  Segments segments_;
  std::size_t block_output_n_;
  std::size_t block_input_n_;  // at most
  double* interleaved_;
  float* edges_;
};

bool Overlap(std::span<const float> a, std::span<const float> b) {
  const std::less<const float*> before;
  return before(a.data(), b.data() + b.size()) && before(b.data(), a.data() + a.size());
}

}  // namespace

ResampleFilter BuildRatio(int up, int down) {
  const auto phase_n = static_cast<std::size_t>(up);
  ResampleFilter filter{up, down, {}, {}, {}, 0.0};
  // The largest table first: an impossible ratio fails before anything is computed.
  filter.taps = Base::MakeZeroBuffer<double>(std::uint64_t{phase_n} * kTapN);
  filter.phase.resize(phase_n);
  filter.step.resize(phase_n);

  const double cutoff = up <= down ? static_cast<double>(up) / static_cast<double>(down) : 1.0;
  const double middle = (static_cast<double>(up) - 1.0) * 0.5;
  double largest_sum = 0.0;
  for (std::size_t p = 0; p < phase_n; ++p) {
    const double offset = (static_cast<double>(p) - middle) / static_cast<double>(up);
    double sum = 0.0;
    for (std::size_t k = 0; k < kTapN; ++k) {
      const double t = (static_cast<double>(k) - static_cast<double>(kTapReach)) + offset;
      filter.taps[p * kTapN + k] = SincAt(t, cutoff) * WindowAt(t);
      sum += Math::Abs(filter.taps[p * kTapN + k]);
    }
    largest_sum = std::max(largest_sum, sum);
  }
  // Each of two sums is off by 65 roundings at most, of 2^-53 of the magnitudes' sum each [Higham 2002, 3.1]: 2^-45.98
  // together, and the rest for the roundings of this bound and of the test that uses it.
  filter.sum_error = largest_sum * 0x1p-45;
  // For even `up` the first phase lies half a step below the offsets' middle; this is meant.
  std::int64_t phase = (up - 1) / 2;
  for (std::size_t i = 0; i < phase_n; ++i) {
    filter.phase[i] = static_cast<int>(phase);
    phase += down;
    filter.step[i] = static_cast<int>(phase / up);
    phase %= up;
  }
  return filter;
}

const Base::ForkGuard ResampleFilterCache::fork_guard_([]() -> Base::Mutex& { return Get().filters_.GetMutex(); });

ResampleFilterCache& ResampleFilterCache::Get() {
  static ResampleFilterCache cache;
  return cache;
}

const ResampleFilter& ResampleFilterCache::GetFilterBank(int dst_sample_rate, int src_sample_rate) {
  const int divisor = std::gcd(dst_sample_rate, src_sample_rate);
  return filters_.GetTable(0, {dst_sample_rate / divisor, src_sample_rate / divisor},
                           [](const Ratio& ratio) { return BuildRatio(ratio.up, ratio.down); });
}

int ComputeResampleLen(int dst_sample_rate, int src_n, int src_sample_rate) {
  // The quotient first, and of the rates as given: reduced ones can round otherwise.
  const double ratio = static_cast<double>(dst_sample_rate) / static_cast<double>(src_sample_rate);
  return Base::SaturateToInt(Math::Ceil(ratio * static_cast<double>(src_n)));
}

void Resample(std::span<float> dst, std::span<const float> src, int dst_sample_rate, int src_sample_rate,
              Simd::Level level) {
  const ResampleFilter& filter = ResampleFilterCache::Get().GetFilterBank(dst_sample_rate, src_sample_rate);
  const auto length =
      static_cast<std::size_t>(ComputeResampleLen(dst_sample_rate, static_cast<int>(src.size()), src_sample_rate));
  std::size_t output_n = 0;
  if (src.size() > 1) {
    // An output may be written before another segment reads its inputs, so these must lie elsewhere.
    Base::CallScratch scratch;
    std::span<const float> samples = src;
    if (Overlap(dst, src)) {
      const auto copy = scratch.Take<float>(src.size());
      std::copy(src.begin(), src.end(), copy.begin());
      samples = copy;
    }
    output_n = CountOutputs(filter, src.size(), std::min(length, dst.size()));
    SegmentedResampler(filter, samples, output_n, level, scratch).Run(dst.data());
  }
  std::fill(dst.begin() + static_cast<std::ptrdiff_t>(output_n), dst.end(), 0.0f);
}

}  // namespace kelvo::Filter
