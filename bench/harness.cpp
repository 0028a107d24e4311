// The rounds of a contest.
//
// A round times one burst of calls of every contestant in turn, and the next round starts with the next contestant, so
// that a change of the machine's speed affects all of them. A ratio is formed within each round; its median and
// quartiles over the rounds are reported. All contestants write to the same array, so alignment favours none.
#include "harness.h"

#include <benchmark/benchmark.h>
#include <time.h>

#include <algorithm>
#include <deque>
#include <span>

#include "compare.h"
#include "simd/level.h"

namespace kelvo::Bench {
namespace {

constexpr double kBurstNanoseconds = 1e6;

std::vector<RowResult> results;

double Nanoseconds(Clock clock) {
  timespec time;
  clock_gettime(clock == Clock::thread ? CLOCK_THREAD_CPUTIME_ID : CLOCK_MONOTONIC, &time);
  return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

// The mean time of a call in a burst of calls.
double TimeBurst(const Run& run, float* dst, Clock clock, int call_n) {
  const double start = Nanoseconds(clock);
  for (int i = 0; i < call_n; ++i) {
    run(dst);
    benchmark::ClobberMemory();
  }
  return (Nanoseconds(clock) - start) / call_n;
}

struct TimedContestant {
  const Contestant* contestant;
  ContestantResult* result;
  int call_n;                         // calls in a burst
  std::vector<double> nanoseconds{};  // of one call, by round
};

Spread QuartilesOf(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t last = values.size() - 1;
  return {values[last / 4], values[last / 2], values[last - last / 4]};
}

// Runs every contestant once and compares the results; returns those that agree.
std::vector<TimedContestant> Compare(const Row& row, const Contest& contest, Buffer& dst,
                                     std::vector<ContestantResult>& outcomes) {
  const auto compared = [&](const Buffer& result) {
    return std::span<const float>(result).subspan(row.edge_n, result.size() - 2 * row.edge_n);
  };
  Buffer ours;
  std::vector<TimedContestant> timed;
  outcomes.reserve(contest.contestants.size());
  for (const Contestant& contestant : contest.contestants) {
    std::fill(dst.begin(), dst.end(), 0.0f);
    contestant.run(dst.data());
    if (ours.empty()) ours = dst;
    const double snr_db = SnrDb(compared(ours), compared(dst));
    const bool agrees = contestant.is_bound || snr_db >= row.least_snr_db;
    outcomes.push_back({contestant.name, contestant.is_bound, snr_db, agrees, 0.0, {}});
    if (!outcomes.back().agrees) continue;
    const double once = TimeBurst(contestant.run, dst.data(), row.clock, 3);
    timed.push_back({&contestant, &outcomes.back(), std::max(1, static_cast<int>(kBurstNanoseconds / once))});
  }
  return timed;
}

void RunRow(benchmark::State& state, const Row& row) {
  const Contest contest = row.make_contest();
  Buffer dst(contest.result_n);
  RowResult outcome{row, {}};
  std::vector<TimedContestant> timed = Compare(row, contest, dst, outcome.results);
  if (timed.empty()) {
    state.SkipWithError("our own result is not finite");
    return;
  }

  std::size_t first = 0;
  for (auto _ : state) {
    for (std::size_t i = 0; i < timed.size(); ++i) {
      TimedContestant& timing = timed[(first + i) % timed.size()];
      timing.nanoseconds.push_back(TimeBurst(timing.contestant->run, dst.data(), row.clock, timing.call_n));
    }
    ++first;
    state.SetIterationTime(timed[0].nanoseconds.back() * 1e-9);
  }

  for (TimedContestant& timing : timed) {
    std::vector<double> ratios(timing.nanoseconds.size());
    std::transform(timing.nanoseconds.begin(), timing.nanoseconds.end(), timed[0].nanoseconds.begin(), ratios.begin(),
                   std::divides<>());
    timing.result->nanoseconds = QuartilesOf(timing.nanoseconds).median;
    timing.result->ratio = QuartilesOf(std::move(ratios));
    state.counters[timing.contestant->name] = timing.result->ratio.median;
  }
  results.push_back(std::move(outcome));
}

}  // namespace

void AddRow(Row row) {
  if (Simd::BestLevel() == Simd::Level::avx2) row.goal = row.avx2_goal;
  static std::deque<Row> rows;  // a registered benchmark refers to its row
  const Row& kept = rows.emplace_back(std::move(row));
  benchmark::RegisterBenchmark((kept.section + "/" + kept.name).c_str(),
                               [&kept](benchmark::State& state) { RunRow(state, kept); })
      ->Iterations(kept.round_n)
      ->UseManualTime()
      ->Unit(benchmark::kMicrosecond);
}

const std::vector<RowResult>& Results() { return results; }

}  // namespace kelvo::Bench
