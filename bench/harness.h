// Contests between the library and its peers: the same job, the same data, the same run.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace kelvo::Bench {

// Aligned as FFTW's plans want their arrays, for every contestant alike.
template <class T>
struct CacheLineAllocator {
  using value_type = T;
  static constexpr std::align_val_t kAlignment{64};
  CacheLineAllocator() = default;
  template <class U>
  CacheLineAllocator(const CacheLineAllocator<U>&) {}
  T* allocate(std::size_t count) { return static_cast<T*>(::operator new(count * sizeof(T), kAlignment)); }
  void deallocate(T* array, std::size_t) { ::operator delete(array, kAlignment); }
  bool operator==(const CacheLineAllocator&) const = default;
};
using Buffer = std::vector<float, CacheLineAllocator<float>>;

// Does the whole job and writes its result to dst, in the library's layout.
using Run = std::function<void(float* dst)>;

struct Contestant {
  std::string name;
  Run run;
  bool is_bound = false;  // does not do the job but what limits it: no peer, and its result is not compared
};

struct Contest {
  std::shared_ptr<const void> job;      // the contestants' input, kept alive for them
  std::size_t result_n;                 // floats
  std::vector<Contestant> contestants;  // ours first
};

enum class Clock {
  thread,  // CPU time of this thread: other work on the machine does not count
  wall     // for contestants that start threads
};

struct Row {
  std::string section;
  std::string name;
  double goal = 0.0;            // least ratio of the best peer's time to ours; 0: none
  double avx2_goal = 0.0;       // in its place where AVX2 is the best level
  double least_snr_db = 100.0;  // a contestant whose result differs more from ours is reported and not timed
  int round_n = 41;
  std::size_t edge_n = 0;       // values at each end of the result that are not compared
  Clock clock = Clock::thread;
  std::function<Contest()> make_contest;
};

// Registers a row with Google Benchmark, which filters and runs it.
void AddRow(Row row);

struct Spread {
  double low, median, high;  // quartiles over the rounds
};

struct ContestantResult {
  std::string name;
  bool is_bound;
  double snr_db;       // of the result against ours
  bool agrees;         // false: not timed
  double nanoseconds;  // median time of one job
  Spread ratio;        // this contestant's time to ours, round by round
};

struct RowResult {
  Row row;
  std::vector<ContestantResult> results;  // ours first
};

// The rows that have run, in the order of their registration.
const std::vector<RowResult>& Results();

}  // namespace kelvo::Bench
