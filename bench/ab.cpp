// Runs the library's side of the rows on two builds of it, for bench/ab.sh, or counts the instructions of one.
// Usage: kelvo_audio_ab time REGEX LIBRARY_A LIBRARY_B    a line "row, A's time / B's, same or other bits" each
//        kelvo_audio_ab count REGEX LIBRARY [CALLS]       for callgrind, which counts within CountedCall
#include <dlfcn.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <regex>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "forwarding.h"
#include "harness.h"
#include "rows.h"

// Named in C for callgrind, which counts the instructions inside it; hence never inlined.
extern "C" [[gnu::noinline]] void CountedCall(const kelvo::Bench::Run& run, float* dst) { run(dst); }

namespace kelvo::Bench {
namespace {

constexpr std::size_t kPairs = 11;
constexpr double kBurstNanoseconds = 1e6;

std::vector<Row> rows;

void* Load(const char* path) {
  void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (!library) throw std::runtime_error(dlerror());
  return library;
}

double ThreadNanoseconds() {
  timespec time;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

double TimeBurst(void* library, const Run& run, float* dst, int call_n) {
  ForwardTo(library);
  run(dst);  // brings the code back into the caches
  const double start = ThreadNanoseconds();
  for (int i = 0; i < call_n; ++i) run(dst);
  return ThreadNanoseconds() - start;
}

void TimeRow(const Row& row, const std::array<void*, 2>& libraries) {
  ForwardTo(libraries[0]);
  const Contest contest = row.make_contest();
  const Run& run = contest.contestants.front().run;
  std::array<Buffer, 2> results{Buffer(contest.result_n), Buffer(contest.result_n)};
  for (const std::size_t i : {0u, 1u}) {
    ForwardTo(libraries[i]);
    run(results[i].data());
  }
  const bool same = std::memcmp(results[0].data(), results[1].data(), contest.result_n * sizeof(float)) == 0;

  // Both builds write to the same array and alternate in going first.
  float* dst = results[0].data();
  const double once = TimeBurst(libraries[0], run, dst, 3) / 3.0;
  const int call_n = std::max(1, static_cast<int>(kBurstNanoseconds / once));
  std::array<double, kPairs> ratios;
  for (std::size_t pair = 0; pair < kPairs; ++pair) {
    std::array<double, 2> times;
    const std::size_t first = pair % 2;
    for (const std::size_t i : {first, 1 - first}) times[i] = TimeBurst(libraries[i], run, dst, call_n);
    ratios[pair] = times[0] / times[1];
  }
  std::nth_element(ratios.begin(), ratios.begin() + kPairs / 2, ratios.end());
  std::printf("%s/%s\t%.5f\t%s\n", row.section.c_str(), row.name.c_str(), ratios[kPairs / 2], same ? "same" : "other");
}

void CountRow(const Row& row, int call_n) {
  const Contest contest = row.make_contest();
  const Run& run = contest.contestants.front().run;
  Buffer dst(contest.result_n);
  run(dst.data());  // builds the tables
  for (int i = 0; i < call_n; ++i) CountedCall(run, dst.data());
  std::printf("%s/%s\n", row.section.c_str(), row.name.c_str());
}

// arguments: the libraries, or one and the number of counted calls
void RunRows(std::string_view mode, const char* pattern, std::span<const char* const> arguments) {
  const std::regex regex(pattern);
  const std::array<void*, 2> libraries{Load(arguments[0]), mode == "time" ? Load(arguments[1]) : nullptr};
  const int call_n = mode == "count" && arguments.size() > 1 ? std::atoi(arguments[1]) : 1;
  ForwardTo(libraries[0]);
  for (const auto add :
       {AddMelRows, AddStftRows, AddFftRows, AddFilterRows, AddResampleRows, AddConversionRows, AddCallRows}) {
    add();
  }
  for (const Row& row : rows) {
    // Rows with several threads cannot be timed by one thread's CPU time.
    if (row.clock != Clock::thread || !std::regex_search(row.section + "/" + row.name, regex)) continue;
    mode == "time" ? TimeRow(row, libraries) : CountRow(row, call_n);
  }
}

}  // namespace

void AddRow(Row row) { rows.push_back(std::move(row)); }

}  // namespace kelvo::Bench

int main(int argc, char** argv) {
  const std::string_view mode = argc > 1 ? argv[1] : "";
  if (!(mode == "time" && argc == 5) && !(mode == "count" && (argc == 4 || argc == 5))) {
    std::fprintf(stderr, "usage: kelvo_audio_ab time REGEX LIBRARY_A LIBRARY_B | count REGEX LIBRARY [CALLS]\n");
    return 2;
  }
  try {
    kelvo::Bench::RunRows(mode, argv[2], std::span<const char* const>(argv + 3, argv + argc));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kelvo_audio_ab: %s\n", error.what());
    return 1;
  }
  return 0;
}
