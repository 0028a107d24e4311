// How a transform of a length is made: by passes of which radices or as a convolution, and where its data is
// transposed.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <utility>

#include "fft/fft_plan.h"

namespace kelvo::Fft {
namespace {

// The radices for 2^exponent times `odd`, the fastest of those that were tried at each exponent. A radix of 16 saves a
// pass, but its butterfly has more values than there are registers: in a batch, spilling them costs more than it saves.
std::vector<std::size_t> ChooseTwos(std::size_t exponent, std::size_t odd, Use use) {
  static constexpr std::initializer_list<std::size_t> kMeasured[] = {{},
                                                                     {2},
                                                                     {4},
                                                                     {8},
                                                                     {4, 4},
                                                                     {4, 8},
                                                                     {8, 8},
                                                                     {4, 4, 8},
                                                                     {4, 8, 8},
                                                                     {4, 4, 4, 8},
                                                                     {4, 4, 8, 8},
                                                                     {4, 4, 4, 4, 8},
                                                                     {4, 4, 4, 8, 8},
                                                                     {4, 4, 8, 8, 8},
                                                                     {4, 4, 4, 4, 8, 8}};
  if (use == Use::single && exponent == 4 && odd > 8) return {16};
  if (use == Use::single && exponent == 7) return {8, 16};
  if (use == Use::single && exponent == 8) return {4, 4, 16};
  if (use == Use::single && exponent == 12) return {8, 4, 8, 16};
  if (exponent < std::size(kMeasured)) return kMeasured[exponent];
  // Fours, as few as leave eights, then one sixteen.
  std::vector<std::size_t> radices;
  std::size_t left = exponent - 4;
  for (; left % 3 != 0 || left > exponent - 8; left -= 2) radices.push_back(4);
  radices.insert(radices.end(), left / 3, 8);
  radices.push_back(16);
  return radices;
}

// From the largest down.
std::vector<std::size_t> OddFactors(std::size_t odd) {
  std::vector<std::size_t> factors;
  for (std::size_t p = 3; p * p <= odd; p += 2) {
    for (; odd % p == 0; odd /= p) factors.push_back(p);
  }
  if (odd > 1) factors.push_back(odd);
  std::reverse(factors.begin(), factors.end());
  return factors;
}

// Whether a single transform begins with two passes of radix 4, which leave a block for each of sixteen lanes. Below
// 256 elements blocks do not fill a vector, above 4096 sixteen of them exceed L1. Between, inverse FFTs are 1.15 times
// as fast as with odd radices in front with AVX-512, 1.25 with AVX2 and 1.3 with SSE2, on average over 88 lengths.
bool HasFoursInFront(std::uint64_t length) {
  return length % 16 == 0 && !std::has_single_bit(length) && length >= 256 && length <= 16 * kMaxL1Length;
}

// A single two joins a five or comes early; longer powers of two are faster last.
std::vector<std::size_t> WithFoursInFront(std::vector<std::size_t> odd_radices, std::size_t exponent) {
  std::vector<std::size_t> radices = {4, 4};
  if (exponent == 1) {
    const auto five = std::find(odd_radices.begin(), odd_radices.end(), 5);
    if (five != odd_radices.end()) {
      *five = 10;
    } else {
      radices.push_back(2);
    }
  }
  radices.insert(radices.end(), odd_radices.begin(), odd_radices.end());
  if (exponent > 1) {
    const std::vector<std::size_t> twos = ChooseTwos(exponent, 1, Use::batch);
    radices.insert(radices.end(), twos.begin(), twos.end());
  }
  return radices;
}

// The cost of a pass over `available` adjacent elements relative to one with full vectors. A half or a quarter of a
// vector is used where fewer elements are left.
std::size_t CostFor(std::size_t available, std::size_t lane_n) {
  if (available >= lane_n) return 1;
  if (lane_n > 8 && available >= 8) return lane_n / 8;
  return lane_n > 4 && available >= 4 ? lane_n / 4 : lane_n;
}

// The time of a transform of `length` elements by passes in units of one element and one power of two. Factors of three
// and five cost a fourth more, as measured for 256 to 32768 elements.
std::uint64_t PassCost(std::uint64_t length) {
  const auto octaves = static_cast<std::uint64_t>(std::bit_width(length));
  return (std::has_single_bit(length) ? 4 : 5) * length * octaves / 4;
}

}  // namespace

bool IsTooLong(std::uint64_t length) {
  constexpr std::uint64_t kTooLongPowerOfTwo = 1 << 28;
  constexpr std::uint64_t kTooLong = 1 << 30;
  return length >= kTooLong || (length >= kTooLongPowerOfTwo && std::has_single_bit(length));
}

bool HasButterfly(std::uint64_t radix) { return radix <= 5 || radix == 7 || radix == 8 || radix == 10 || radix == 16; }

// The radices of the passes: odd primes from the largest down, then powers of two; a single two joins a five. The last
// passes of a single transform run on a batch of blocks; an eight in front makes enough blocks to fill half the lanes,
// two fours all of them.
std::vector<std::size_t> ChooseRadices(std::size_t length, Use use) {
  const auto exponent = static_cast<std::size_t>(std::countr_zero(length));
  const std::size_t odd = length >> exponent;
  std::vector<std::size_t> radices = OddFactors(odd);
  if (use == Use::batch && exponent == 1 && odd % 5 == 0) {
    radices.erase(std::find(radices.begin(), radices.end(), 5));
    radices.push_back(10);
    return radices;
  }
  if (use == Use::single && HasFoursInFront(length)) return WithFoursInFront(std::move(radices), exponent - 4);
  const bool has_eight_in_front = use == Use::single && exponent == 3 && radices.size() == 2;
  const std::vector<std::size_t> twos = ChooseTwos(exponent, odd, use);
  radices.insert(has_eight_in_front ? radices.begin() : radices.end(), twos.begin(), twos.end());
  return radices;
}

// The cheapest place to transpose. The last pass always runs on a batch of blocks, since its span is 1.
TransposeStep ChooseTransposeStep(const std::vector<Pass>& passes, std::size_t length, std::size_t lane_n) {
  TransposeStep best{0, 1};
  if (lane_n == 1) return best;
  std::size_t best_cost = std::numeric_limits<std::size_t>::max();
  std::size_t cost_before = 0;
  std::size_t block = length;
  std::size_t block_n = 1;
  for (std::size_t i = 0; i < passes.size(); ++i) {
    const std::size_t cost = cost_before + (passes.size() - i) * CostFor(block_n, lane_n);
    // Blocks too long for L1 are worthwhile only before the first pass.
    if (cost < best_cost && (block <= kMaxL1Length || i == 0)) {
      best = {i, block_n};
      best_cost = cost;
    }
    block = passes[i].span;
    block_n *= passes[i].radix;
    cost_before += CostFor(block, lane_n);
  }
  return best;
}

// Cheapest where blocks fill the lanes and passes before them have whole vectors.
std::size_t ChooseConvolutionSplit(std::span<const Pass> passes, std::size_t least) {
  std::size_t best = least;
  std::size_t best_cost = std::numeric_limits<std::size_t>::max();
  std::size_t cost_before = 0;
  std::size_t block_n = 1;
  for (std::size_t split_n = 1; split_n < passes.size(); ++split_n) {
    const Pass& pass = passes[split_n - 1];
    constexpr std::size_t kUnit = 64;
    block_n *= pass.radix;
    cost_before += kUnit * CostFor(pass.span & -pass.span, kResponseLaneN);
    const std::size_t lane_n = (block_n + kResponseLaneN - 1) / kResponseLaneN * kResponseLaneN;
    const std::size_t cost = cost_before + (passes.size() - split_n) * kUnit * lane_n / block_n;
    // The shorter blocks are, the more of their way is in registers.
    if (split_n >= least && cost <= best_cost) {
      best = split_n;
      best_cost = cost;
    }
  }
  return best;
}

std::uint64_t ChooseInnerLength(std::uint64_t least) {
  // Shorter ones leave half the lanes empty.
  least = std::max(least, std::uint64_t{kResponseLaneN} * kResponseLaneN);
  std::uint64_t best = 0;
  for (const std::uint64_t odd : {1u, 3u, 5u, 9u, 15u, 27u}) {
    // The first pass has whole vectors of any size.
    std::uint64_t length = kResponseLaneN * odd;
    while (length < least) length *= 2;
    if (IsTooLong(length)) continue;
    if (best == 0 || PassCost(length) < PassCost(best)) best = length;
  }
  return best;
}

std::vector<std::size_t> ChooseInnerRadices(std::size_t inner_n, Use use) {
  const auto exponent = static_cast<std::size_t>(std::countr_zero(inner_n));
  std::vector<std::size_t> radices = OddFactors(inner_n >> exponent);
  const std::vector<std::size_t> twos = ChooseTwos(exponent, inner_n >> exponent, use);
  radices.insert(radices.end(), twos.begin(), twos.end());
  // With whole vectors in the pass before the last: 1.2 times as fast with AVX-512, as fast with others.
  if (use == Use::single && exponent == 6) {
    radices[radices.size() - 2] = 4;
    radices.back() = 16;
  }
  if (radices[0] == 8) std::swap(radices[0], radices[1]);  // The first pass is compiled for radices of 3 to 5.
  return radices;
}

// Whether convolving with a chirp by transforms of inner_n elements takes less time than passes of these radices, most
// of which goes into direct sums. The factors are measured: alone both take as long at 97 complex and at 160 real
// elements; in a batch at 113 and at 145.
bool IsFasterByChirp(std::uint64_t length, const std::vector<std::size_t>& radices, std::uint64_t inner_n, Use use,
                     Input input) {
  if (inner_n == 0) return false;
  const bool is_single = use == Use::single;
  std::uint64_t direct = 0;
  for (const std::size_t radix : radices) {
    // The butterfly of seven elements is a direct sum as well.
    if (HasButterfly(radix) && radix != 7) continue;
    const bool is_real = input == Input::real && radix == radices.front();
    // Alone and real, the sum reads samples and writes bins.
    direct += radix * (!is_real ? 20 : !is_single ? 10 : radices.size() > 1 ? 14 : 7);
  }
  // Without an exact response, it would be less accurate than sums over short primes.
  const auto octaves = static_cast<std::uint64_t>(std::bit_width(inner_n));
  if (inner_n > kLongestExactResponse && radices.size() > 1 && direct < 260 * octaves) return false;
  constexpr std::uint64_t kFurtherOctaves = 3;  // for scaling, factors and products
  // Beside other passes, that of a single transform has full lanes behind two fours, and else seldom whole vectors.
  if (is_single && radices.size() > 1) direct = HasFoursInFront(length) ? 3 * direct / 4 : 7 * direct / 5;
  const std::uint64_t chirp = PassCost(inner_n) + kFurtherOctaves * inner_n;
  return (is_single ? 60 : 70) * chirp < length * direct;
}

// Up to 16 samples a full-length transform is used: the split step of a half-length one would lose accuracy at 8 and
// 16, by up to a fifth over random signals, and at no other even length.
bool IsHalfLength(std::size_t fft_n) { return fft_n % 2 == 0 && fft_n > 16; }

// Up to 256 samples the pass gains little in a batch, and its short subsignals cost a single frame more than that. It
// makes errors smaller, by up to 14 %. Its subsignals are transformed by passes alone: lengths with prime factors from
// 17 on, few of which people use, do without, though those up to 31 would gain as well.
bool HasRealPass(std::size_t fft_n) {
  if (fft_n % 8 != 0 || fft_n <= 256) return false;
  for (const std::size_t p : {2u, 3u, 5u, 7u, 11u, 13u}) {
    while (fft_n % p == 0) fft_n /= p;
  }
  return fft_n == 1;
}

}  // namespace kelvo::Fft
