// Counts the results of the elementary functions that are not correctly rounded: of all floats for one argument, of
// random and structured pairs for two. The truth is a double of the C library where its error cannot matter, otherwise
// MPFR's. Prints the count for each function and the CPU time; fails unless every count is 0.
// Usage: kelvo_audio_exhaustive [--hardest] [--pairs COUNT] [FUNCTION ...]      by default all, and 10^9 pairs
//        --hardest prints the arguments whose results come nearest to the middle between two floats, for the tests
#define KELVO_LEVEL exhaustive
#if defined(__AVX512F__) && defined(__AVX512DQ__)
#define KELVO_LANE_BYTES 64
#elif defined(__AVX2__)
#define KELVO_LANE_BYTES 32
#else
#define KELVO_LANE_BYTES 16
#endif
#include <mpfr.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "math/functions.h"
#include "math/log.h"
#include "math/pow.h"
#include "math/trigonometry.h"
// Behind what it is about.
#include "math/near_direction.h"

namespace {

using namespace kelvo;
using namespace kelvo::Math;

constexpr std::size_t kBlockN = 4096;
using Block = std::array<float, kBlockN>;

double Widened(float value) { return static_cast<double>(value); }

bool IsSame(float a, float b) {
  return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b) || (std::isnan(a) && std::isnan(b));
}

// A function of at most two arguments, correctly rounded to float by MPFR.
class Truth {
 public:
  Truth() {
    for (mpfr_t& value : values_) mpfr_init2(value, 24);
    mpfr_set_emin(-148);
    mpfr_set_emax(128);
  }
  ~Truth() {
    for (mpfr_t& value : values_) mpfr_clear(value);
  }
  template <class Function, class... Argument>
  float Of(Function function, Argument... arguments) {
    int i = 1;
    (mpfr_set_flt(values_[i++], arguments, MPFR_RNDN), ...);
    int direction;
    if constexpr (sizeof...(arguments) == 1) {
      direction = function(values_[0], values_[1], MPFR_RNDN);
    } else {
      direction = function(values_[0], values_[1], values_[2], MPFR_RNDN);
    }
    mpfr_subnormalize(values_[0], mpfr_check_range(values_[0], direction, MPFR_RNDN), MPFR_RNDN);
    return mpfr_get_flt(values_[0], MPFR_RNDN);
  }

 private:
  mpfr_t values_[3];
};

// How near a double lies to the middle between two floats, in its own last places.
std::int64_t DistanceFromMiddle(double value) {
  const auto low = static_cast<std::int64_t>(std::bit_cast<std::uint64_t>(value) & 0x1FFFFFFF);
  return std::abs(low - 0x10000000);
}

struct Hard {
  std::int64_t distance;
  float x, y, result;
};

struct Findings {
  std::uint64_t count = 0, wrong = 0, asked = 0;
  std::vector<Hard> hardest;

  // The true value is `near`, but for less than 2^-48 of it, unless MPFR has to say.
  template <class AskTruth>
  void Compare(float actual, double near, float x, float y, AskTruth truth) {
    ++count;
    const auto below = static_cast<float>(near * (1.0 - 0x1p-48));
    const auto above = static_cast<float>(near * (1.0 + 0x1p-48));
    float expected = below;
    if (!IsSame(below, above)) {
      ++asked;
      expected = truth();
    }
    if (!IsSame(actual, expected) && wrong++ < 3) {
      std::printf("wrong: %a, %a gives %a, not %a\n", Widened(x), Widened(y), Widened(actual), Widened(expected));
    }
    constexpr std::size_t kKept = 12;
    const std::int64_t distance = DistanceFromMiddle(near);
    if (std::fabs(near) < 0x1p-126 || !std::isfinite(near)) return;
    if (hardest.size() == kKept && distance >= hardest.back().distance) return;
    hardest.push_back({distance, x, y, expected});
    std::ranges::sort(hardest, {}, &Hard::distance);
    if (hardest.size() > kKept) hardest.pop_back();
  }

  void Merge(const Findings& other) {
    count += other.count;
    wrong += other.wrong;
    asked += other.asked;
    hardest.insert(hardest.end(), other.hardest.begin(), other.hardest.end());
    std::ranges::sort(hardest, {}, &Hard::distance);
  }
};

struct OneArgument {
  const char* name;
  void (*ours)(Block& dst, const Block& src);
  double (*runtime)(double);
  int (*truth)(mpfr_t, const mpfr_t, mpfr_rnd_t);
  float reach = HUGE_VALF;  // larger arguments are not looked at
};

template <class Function>
void InGroups(Block& dst, const Block& src, Function function) {
  for (std::size_t i = 0; i < kBlockN; i += Group::kSize) function(Group::Load(&src[i])).Store(&dst[i]);
}

template <class Function>
void OneByOne(Block& dst, const Block& src, Function function) {
  for (std::size_t i = 0; i < kBlockN; ++i) dst[i] = function(Lanes<float, 1>{src[i]}).v;
}

constexpr float kPi = 3.1415927f;
const OneArgument kOneArgument[] = {
    {"log1p", [](Block& d, const Block& s) { InGroups(d, s, [](Group x) { return Log1p(x); }); }, std::log1p,
     mpfr_log1p},
    {"log10", [](Block& d, const Block& s) { InGroups(d, s, [](Group x) { return Log10(x); }); }, std::log10,
     mpfr_log10},
    {"log", [](Block& d, const Block& s) { InGroups(d, s, [](Group x) { return Log(x); }); }, std::log, mpfr_log},
    {"log1p of one", [](Block& d, const Block& s) { OneByOne(d, s, [](auto x) { return Log1p(x); }); }, std::log1p,
     mpfr_log1p},
    {"log10 of one", [](Block& d, const Block& s) { OneByOne(d, s, [](auto x) { return Log10(x); }); }, std::log10,
     mpfr_log10},
    {"log of one", [](Block& d, const Block& s) { OneByOne(d, s, [](auto x) { return Log(x); }); }, std::log, mpfr_log},
    {"exp", [](Block& d, const Block& s) { InGroups(d, s, [](Group x) { return Exp(x); }); }, std::exp, mpfr_exp},
    {"cosine", [](Block& d, const Block& s) { InGroups(d, s, [](Group x) { return CosSinNear(x, false).cosine; }); },
     std::cos, mpfr_cos, kPi},
    {"sine", [](Block& d, const Block& s) { InGroups(d, s, [](Group x) { return CosSinNear(x, false).sine; }); },
     std::sin, mpfr_sin, kPi},
    {"cosine by next",
     [](Block& d, const Block& s) { InGroups(d, s, [](Group x) { return CosSinNear(x, true).cosine; }); }, std::cos,
     mpfr_cos, kPi},
    {"sine by next", [](Block& d, const Block& s) { InGroups(d, s, [](Group x) { return CosSinNear(x, true).sine; }); },
     std::sin, mpfr_sin, kPi},
    {"cos",
     [](Block& d, const Block& s) {
       for (std::size_t i = 0; i < kBlockN; ++i) d[i] = Cos(s[i]);
     },
     std::cos, mpfr_cos, 0x1.fffffep+19f},
};

Findings Walk(const OneArgument& row, std::uint64_t first, std::uint64_t step) {
  Findings findings;
  Truth truth;
  Block src, dst;
  for (std::uint64_t start = first * kBlockN; start < std::uint64_t{1} << 32; start += step * kBlockN) {
    for (std::size_t i = 0; i < kBlockN; ++i) src[i] = std::bit_cast<float>(static_cast<std::uint32_t>(start + i));
    row.ours(dst, src);
    for (std::size_t i = 0; i < kBlockN; ++i) {
      if (std::fabs(src[i]) > row.reach) continue;
      findings.Compare(dst[i], row.runtime(Widened(src[i])), src[i], 0.0f, [&] { return truth.Of(row.truth, src[i]); });
    }
  }
  return findings;
}

struct TwoArguments {
  const char* name;
  void (*ours)(Block& dst, const Block& first, float second);
  double (*runtime)(double, double);
  int (*truth)(mpfr_t, const mpfr_t, const mpfr_t, mpfr_rnd_t);
  float (*second)(std::mt19937_64& random);
  float (*first)(std::mt19937_64& random, float second);
};

float AnyFloat(std::mt19937_64& random) { return std::bit_cast<float>(static_cast<std::uint32_t>(random())); }
// 2^low to 2^high, a fraction of few or of all bits
float Scaled(std::mt19937_64& random, int low, int high) {
  const int kept = 1 + static_cast<int>(random() % 24);
  const double fraction = std::ldexp(static_cast<double>(random() % (std::uint64_t{1} << kept)), -kept);
  return static_cast<float>(
      std::ldexp(1.0 + fraction, low + static_cast<int>(random() % static_cast<unsigned>(high - low))));
}

// Exponents that callers have, quarters with their exact powers, tiny and large ones, anything.
float AnyExponent(std::mt19937_64& random) {
  switch (random() % 8) {
    case 0: return AnyFloat(random);
    case 1: return static_cast<float>(static_cast<int>(random() % 64) - 24) * 0.25f;
    case 2: return -Scaled(random, -8, 8);
    case 3: return static_cast<float>(static_cast<int>(random() % 300) - 150);
    default: return Scaled(random, -6, 4);
  }
}
// Bases of all kinds, squares and fourth powers of small integers, powers of two, and those whose power is subnormal.
float AnyBase(std::mt19937_64& random, float exponent) {
  const auto small = static_cast<float>(random() % 4097);
  switch (random() % 8) {
    case 0: return AnyFloat(random);
    case 1: return small * small;
    case 2: return std::ldexp(small * small, -2 * static_cast<int>(random() % 60));
    case 3: return std::ldexp(small, static_cast<int>(random() % 200) - 149);
    case 4:
      return static_cast<float>(std::exp2((-120.0 - static_cast<double>(random() % 4000) / 100) / Widened(exponent)));
    default: return Scaled(random, -149, 128);
  }
}
float AnyPart(std::mt19937_64& random) {
  switch (random() % 4) {
    case 0: return AnyFloat(random);
    case 1: return std::ldexp(static_cast<float>(random() % 64), static_cast<int>(random() % 270) - 149);
    default: return Scaled(random, -20, 10) * (random() % 2 != 0 ? 1.0f : -1.0f);
  }
}

// The float angle, proved by a row of its own.
double AngleOf(double y, double x) {
  return Widened(Atan2(Lanes<float, 1>{static_cast<float>(y)}, Lanes<float, 1>{static_cast<float>(x)}).v);
}
int SetFunctionOfAngle(mpfr_t result, const mpfr_t y, const mpfr_t x, mpfr_rnd_t direction,
                       int (*function)(mpfr_t, const mpfr_t, mpfr_rnd_t)) {
  mpfr_t angle;
  mpfr_init2(angle, 24);
  mpfr_set_d(angle, AngleOf(mpfr_get_d(y, MPFR_RNDN), mpfr_get_d(x, MPFR_RNDN)), MPFR_RNDN);
  const int rounded = function(result, angle, direction);
  mpfr_clear(angle);
  return rounded;
}

const TwoArguments kTwoArguments[] = {
    {"pow",
     [](Block& d, const Block& s, float exponent) {
       const Exponent prepared = MakeExponent(exponent);
       for (std::size_t i = 0; i < kBlockN; i += Group::kSize) StorePow(&d[i], Group::Load(&s[i]), prepared);
     },
     std::pow, mpfr_pow, AnyExponent, AnyBase},
    {"atan2",
     [](Block& d, const Block& s, float x) { InGroups(d, s, [&](Group y) { return Atan2(y, Group::Broadcast(x)); }); },
     std::atan2, mpfr_atan2, AnyPart, [](std::mt19937_64& random, float) { return AnyPart(random); }},
    {"phase's cosine",
     [](Block& d, const Block& s, float x) {
       InGroups(d, s, [&](Group y) { return UnitPhase(y, Group::Broadcast(x)).cosine; });
     },
     [](double y, double x) { return std::cos(AngleOf(y, x)); },
     [](mpfr_t result, const mpfr_t y, const mpfr_t x, mpfr_rnd_t direction) {
       return SetFunctionOfAngle(result, y, x, direction, mpfr_cos);
     },
     AnyPart, [](std::mt19937_64& random, float) { return AnyPart(random); }},
    {"phase's sine",
     [](Block& d, const Block& s, float x) {
       InGroups(d, s, [&](Group y) { return UnitPhase(y, Group::Broadcast(x)).sine; });
     },
     [](double y, double x) { return std::sin(AngleOf(y, x)); },
     [](mpfr_t result, const mpfr_t y, const mpfr_t x, mpfr_rnd_t direction) {
       return SetFunctionOfAngle(result, y, x, direction, mpfr_sin);
     },
     AnyPart, [](std::mt19937_64& random, float) { return AnyPart(random); }},
};

Findings Walk(const TwoArguments& row, std::uint64_t seed, std::uint64_t pair_n) {
  Findings findings;
  Truth truth;
  std::mt19937_64 random(seed);
  Block first, dst;
  for (std::uint64_t done = 0; done < pair_n; done += kBlockN) {
    const float second = row.second(random);
    for (float& value : first) value = row.first(random, second);
    row.ours(dst, first, second);
    for (std::size_t i = 0; i < kBlockN; ++i) {
      findings.Compare(dst[i], row.runtime(Widened(first[i]), Widened(second)), first[i], second,
                       [&] { return truth.Of(row.truth, first[i], second); });
    }
  }
  return findings;
}

// Whether all results are right.
template <class Row>
bool Report(const Row& row, std::uint64_t pair_n, bool with_hardest) {
  const std::clock_t begin = std::clock();
  const std::uint64_t thread_n = std::max(1u, std::thread::hardware_concurrency());
  std::vector<Findings> parts(thread_n);
  std::vector<std::thread> threads;
  for (std::uint64_t t = 0; t < thread_n; ++t) {
    threads.emplace_back([&, t] {
      if constexpr (std::is_same_v<Row, OneArgument>) {
        parts[t] = Walk(row, t, thread_n);
      } else {
        parts[t] = Walk(row, t + 1, pair_n / thread_n);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  Findings all;
  for (const Findings& part : parts) all.Merge(part);
  const double seconds = static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;  // of all threads
  std::printf("%-14s %10llu wrong of %llu, MPFR asked for %llu, %.0f CPU s\n", row.name,
              static_cast<unsigned long long>(all.wrong), static_cast<unsigned long long>(all.count),
              static_cast<unsigned long long>(all.asked), seconds);
  if (with_hardest) {
    for (const Hard& hard : all.hardest) {
      std::printf("    {%a, %a, %a},  // %lld\n", Widened(hard.x), Widened(hard.y), Widened(hard.result),
                  static_cast<long long>(hard.distance));
    }
  }
  std::fflush(stdout);
  return all.wrong == 0;
}

}  // namespace

int main(int argc, char** argv) {
  bool with_hardest = false;
  std::uint64_t pair_n = 1000000000;
  std::vector<std::string> chosen;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--hardest") == 0) {
      with_hardest = true;
    } else if (std::strcmp(argv[i], "--pairs") == 0 && i + 1 < argc) {
      pair_n = std::strtoull(argv[++i], nullptr, 10);
    } else {
      chosen.emplace_back(argv[i]);
    }
  }
  const auto is_chosen = [&](const char* name) { return chosen.empty() || std::ranges::count(chosen, name) != 0; };
  bool all_right = true;
  for (const auto& row : kOneArgument) all_right &= !is_chosen(row.name) || Report(row, 0, with_hardest);
  for (const auto& row : kTwoArguments) all_right &= !is_chosen(row.name) || Report(row, pair_n, with_hardest);
  return all_right ? 0 : 1;
}
