// Hours of random calls of all exports, valid and hostile, from many threads whose floating-point settings change and
// which build tables meanwhile: every result is a lone thread's, memory stays flat, and warm calls take their time.
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <numeric>
#include <optional>
#include <random>
#include <string_view>
#include <thread>

#include "fuzz_calls.h"
#include "reliability/calls.h"
#include "reliability/child.h"
#include "reliability/failing_new.h"
#include "reliability/fp_state.h"
#include "support/bits.h"

namespace kelvo::Reliability {
namespace {

constexpr const char* kUsage =
    "Usage: kelvo_audio_endurance [--minutes M] [--threads N] [--settings N] [--seed N]\n"
    "Without --minutes, M is 1. Fails if a result, an input, a status or a floating-point setting is wrong or a call\n"
    "hangs; in runs of a minute or more also if memory grows or a call is slow whenever it is repeated, but for\n"
    "searches that find no sound and calls with denormals.\n";

struct Options {
  double minutes = 1.0;
  std::size_t thread_n = 8;
  std::size_t setting_n = 4000;
  std::uint64_t seed = 1;
};

constexpr Content kContents[]{Content::noise, Content::tiny_noise, Content::mixed_noise};
constexpr const char* kContentNames[]{"noise", "denormals", "NaNs and infinities"};
constexpr std::size_t kMaxBlock = std::size_t{1} << 24;  // for calls that want more, memory is exhausted

using Random = std::mt19937_64;

// What is called: the scalars, and an array that is null.
struct Request {
  const Export* subject;
  Scalars scalars;
  std::optional<std::size_t> null_array;
};

Request DrawRequest(Random& random) {
  constexpr double kMaxOperations = 4e6;  // a few milliseconds
  for (;;) {
    const Export& subject = Exports()[random() % Exports().size()];
    const auto one_of = [&](const std::vector<Scalars>& all) { return all[random() % all.size()]; };
    std::array<std::uint8_t, 96> bytes;
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<std::uint8_t>(random()); });
    const std::uint64_t kind = random() % 16;
    Request request{&subject, one_of(subject.settings), {}};
    if (kind < 3) {
      request.scalars = one_of(subject.live);
    } else if (kind < 4 && !subject.large.empty()) {
      request.scalars = one_of(subject.large);
    } else if (kind < 8) {
      request.scalars = subject.FreshSettings(static_cast<int>(random() % 200));
    } else if (kind < 14) {
      // One or two scalars that the usual ones do not expect, or else nearly all calls of some exports would be
      // refused.
      const Scalars hostile = Fuzz::ChooseScalars(subject, bytes);
      for (int i = 0; i < 2; ++i) {
        const std::size_t which = random() % hostile.size();
        request.scalars[which] = hostile[which];
      }
    }
    if (random() % 32 == 0) request.null_array = random() % subject.arrays.size();
    const Extent extent = subject.extent(request.scalars);
    const double array_n = std::accumulate(extent.lengths.begin(), extent.lengths.end(), 0.0);
    if (extent.operations + array_n <= kMaxOperations) return request;
  }
}

// A request for a new table of which the last allocation fails: the table is built and dropped.
struct VainBuild {
  const Export* subject;
  Scalars scalars;
};

std::vector<VainBuild> ListVainBuilds() {
  constexpr int kFirstKey = 300;  // beyond the requests' keys
  constexpr int kKeyN = 16;
  std::vector<VainBuild> builds;
  for (const Export& subject : Exports()) {
    for (int key = 0; subject.UsesCache() && key < kKeyN; ++key) {
      builds.push_back({&subject, subject.FreshSettings(kFirstKey + key)});
    }
  }
  return builds;
}

// The number of the last allocation of a build without which no table is kept.
long FindLastAllocation(CallArrays& arrays, const VainBuild& build) {
  for (long i = 0;; ++i) {
    if (!arrays.Prepare(*build.subject, build.scalars)) return -1;
    const long live = LiveAllocations();
    const AllocationFailures failures(i, 1);
    if (arrays.Call(build.scalars) == 0 || LiveAllocations() != live) return i - 1;
  }
}

// What a call gave: the status, and a hash of the outputs, or of their being untouched.
struct Answer {
  int status;
  std::uint64_t hash;
  bool operator==(const Answer&) const = default;
};

Answer AnswerOf(const CallArrays& arrays, int status) {
  if (!arrays.AreInputsIntact()) return {status, 1};
  return {status, status == 0 ? Support::Hash(arrays.OutputBits()) : arrays.AreOutputsIntact() ? 0u : 2u};
}

bool PrepareRequest(CallArrays& arrays, const Request& request, Placement placement) {
  if (!arrays.Prepare(*request.subject, request.scalars, placement)) return false;
  if (request.null_array) arrays.SetNull(*request.null_array);
  return true;
}

struct Timed {
  int status;
  FpState settings;  // that the call left
  std::uint64_t ns;  // CPU time
  long switch_n;     // times that the thread was suspended
  long fault_n;      // pages
};

std::uint64_t ThreadNanoseconds() {
  timespec time{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000u + static_cast<std::uint64_t>(time.tv_nsec);
}

template <class Work>
Timed Time(FpState state, const Work& work) {
  Timed timed{};
  rusage before{}, after{};
  ::getrusage(RUSAGE_THREAD, &before);
  SetFpState(state);
  const std::uint64_t start = ThreadNanoseconds();
  timed.status = work();
  timed.ns = ThreadNanoseconds() - start;
  timed.settings = SettingsOf(CurrentFpState());
  SetFpState(kDefaultFpState);
  ::getrusage(RUSAGE_THREAD, &after);
  timed.switch_n = after.ru_nvcsw + after.ru_nivcsw - before.ru_nvcsw - before.ru_nivcsw;
  timed.fault_n = after.ru_minflt + after.ru_majflt - before.ru_minflt - before.ru_majflt;
  return timed;
}

Timed TimedCall(FpState state, const CallArrays& arrays, const Scalars& scalars) {
  const AllocationFailures limit(0, 0, kMaxBlock);
  return Time(state, [&] { return arrays.Call(scalars); });
}

// Times in buckets, eight to a power of two.
class Histogram {
 public:
  void Add(std::uint64_t ns) {
    ++counts_[BucketOf(ns)];
    // The median is good for a while.
    if (const std::uint32_t n = ++count_; n >= kLeast && std::has_single_bit(n)) median_ = FindMedian();
  }
  // In nanoseconds; 0 before it is known. Below a microsecond it counts as one: an interrupt is charged to the thread
  // that it meets and takes longer than the shortest calls.
  double Median() const {
    constexpr double kMicrosecond = 1000.0;
    return median_ == 0.0 ? 0.0 : std::max(median_.load(), kMicrosecond);
  }
  bool IsSlow(std::uint64_t ns) const { return median_ != 0.0 && static_cast<double>(ns) > 10.0 * Median(); }

 private:
  static constexpr std::uint32_t kLeast = 64;
  static std::size_t BucketOf(std::uint64_t ns) {
    const int octave = std::max(static_cast<int>(std::bit_width(ns)) - 4, 0);
    return static_cast<std::size_t>(8 * octave) + static_cast<std::size_t>(ns >> octave);
  }
  static double StartOf(std::size_t bucket) {
    const std::size_t octave = bucket < 16 ? 0 : bucket / 8 - 1;
    return static_cast<double>((bucket - 8 * octave) << octave);
  }
  double FindMedian() const {
    std::uint32_t rest = count_ / 2;
    std::size_t bucket = 0;
    while (rest > counts_[bucket]) rest -= counts_[bucket++];
    return 0.5 * (StartOf(bucket) + StartOf(bucket + 1));
  }

  std::array<std::atomic<std::uint32_t>, 512> counts_{};
  std::atomic<std::uint32_t> count_ = 0;
  std::atomic<double> median_ = 0.0;
};

struct Slow {
  double ratio;
  double repeated_ratio;  // of the fastest repetition at once
  const Export* subject;
  std::size_t request;
  std::size_t content;
  const char* host;
  Timed timed;
  int build_n;  // other threads' builds when it began
};

enum Cause : std::size_t { kRepeats, kDenormals, kSearches, kSuspended, kPages, kOnce, kCauseN };
constexpr const char* kCauseNames[]{"slow whenever repeated",
                                    "slow whenever repeated, with denormal inputs",
                                    "searches that find no sound soon",
                                    "suspended meanwhile",
                                    "page faults",
                                    "neither, and fast when repeated at once"};

Cause CauseOf(const Slow& slow) {
  if (slow.repeated_ratio > 10.0) {
    // The CPU takes a hundred times as long for arithmetic with denormals, which may not be flushed.
    if (kContents[slow.content] == Content::tiny_noise) return kDenormals;
    // Most contents are noise, whose first frame ends the search.
    return slow.subject->name == std::string_view("GetNonSilentPos") ? kSearches : kRepeats;
  }
  if (slow.timed.switch_n > 0) return kSuspended;
  return slow.timed.fault_n > 0 ? kPages : kOnce;
}

// What one thread did. The main thread reads the atomic part meanwhile.
struct Tally {
  static constexpr std::size_t kSlowN = 8;

  std::atomic<std::uint64_t> call_n = 0;
  std::atomic<std::size_t> current = 0;
  std::atomic<long> block_n = 0;  // that its calls left allocated
  std::uint64_t warm_n = 0;
  std::uint64_t status_n[4]{};  // 0, -1, -5, -128
  std::uint64_t vain_n = 0;
  std::uint64_t kept_n = 0;  // builds that were to be in vain and were not
  std::uint64_t wrong_n = 0;
  std::uint64_t slow_n[kCauseN]{};
  std::uint64_t control_n = 0;
  std::uint64_t slow_control_n = 0;
  double worst_control = 0.0;
  std::vector<Slow> slowest[kCauseN];

  // Keeps the slowest ones of each cause, at most one for an export.
  void Keep(const Slow& slow) {
    auto& kept = slowest[CauseOf(slow)];
    const auto same = std::find_if(kept.begin(), kept.end(), [&](const Slow& s) { return s.subject == slow.subject; });
    if (same == kept.end()) {
      kept.push_back(slow);
    } else if (slow.ratio > same->ratio) {
      *same = slow;
    }
    std::sort(kept.begin(), kept.end(), [](const Slow& a, const Slow& b) { return a.ratio > b.ratio; });
    if (kept.size() > kSlowN) kept.pop_back();
  }
};

class Endurance {
 public:
  explicit Endurance(const Options& options)
      : options_(options),
        builds_(ListVainBuilds()),
        histograms_(options.setting_n),
        is_warm_(options.setting_n),
        tallies_(options.thread_n),
        answers_(std::size(kContents) * options.setting_n),
        last_allocations_(builds_.size()) {
    Random random(options.seed);
    for (std::size_t i = 0; i < options.setting_n; ++i) requests_.push_back(DrawRequest(random));
  }

  bool Run() {
    const auto start = Clock::now();
    // In a process of its own, so that the threads below build all tables themselves.
    if (RunInChild([&] { return AnswerAlone(); }, 3600) != 0) return false;
    std::printf("%zu settings alone, %.1f s\n", requests_.size(), SecondsSince(start));
    std::fflush(stdout);
    CallFromAllThreads();
    return Report();
  }

 private:
  using Clock = std::chrono::steady_clock;
  static double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
  }

  int AnswerAlone() {
    CallArrays arrays;
    for (std::size_t i = 0; i < requests_.size(); ++i) {
      for (std::size_t c = 0; c < std::size(kContents); ++c) {
        if (!PrepareRequest(arrays, requests_[i], {.inputs = kContents[c]})) return 1;
        const int status = TimedCall(kDefaultFpState, arrays, requests_[i].scalars).status;
        Answer& answer = answers_[std::size(kContents) * i + c];
        answer = AnswerOf(arrays, status);
        if (!requests_[i].subject->Documents(status) || !arrays.AreInputsIntact() ||
            (status != 0 && answer.hash != 0)) {
          std::printf("alone: ");
          PrintRequest(i, c);
          return 1;
        }
      }
    }
    for (std::size_t i = 0; i < builds_.size(); ++i) last_allocations_[i] = FindLastAllocation(arrays, builds_[i]);
    return 0;
  }

  void CallFromAllThreads() {
    constexpr double kHanging = 120.0;
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < options_.thread_n; ++t) threads.emplace_back([this, t] { CallUntilDone(t); });
    while (ready_n_ < options_.thread_n) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    start_memory_ = ResidentKib();

    const double seconds = 60.0 * options_.minutes;
    const auto start = Clock::now();
    std::vector<std::pair<std::uint64_t, double>> progress(options_.thread_n);
    for (double now = 0.0; now < seconds; now = SecondsSince(start)) {
      // Half of the settings at first; the others, and with them new tables, one by one until half-time.
      const double share = 0.5 + std::min(now / seconds, 0.5);
      released_n_ = std::max<std::size_t>(1, static_cast<std::size_t>(share * static_cast<double>(requests_.size())));
      const bool is_complete = now > 0.6 * seconds;
      if (is_complete) {
        const long memory = ResidentKib();
        if (flat_memory_ == 0) flat_memory_ = memory, flat_block_n_ = BlockCount();
        most_memory_ = std::max(most_memory_, memory);
      }
      for (std::size_t t = 0; t < options_.thread_n; ++t) {
        const std::uint64_t call_n = tallies_[t].call_n;
        if (call_n != progress[t].first) progress[t] = {call_n, now};
        if (now - progress[t].second > kHanging) {
          std::printf("hangs: ");
          PrintRequest(tallies_[t].current, 0);
          std::_Exit(1);
        }
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    is_done_ = true;
    for (std::thread& thread : threads) thread.join();
  }

  void CallUntilDone(std::size_t thread) {
    Random random(options_.seed + 1000 * (thread + 1));
    Tally& tally = tallies_[thread];
    for (auto& kept : tally.slowest) kept.reserve(Tally::kSlowN + 1);
    CallArrays arrays;
    // Touches all memory that the arrays will use.
    for (const Request& request : requests_) arrays.Prepare(*request.subject, request.scalars, {.offset = 15});
    const long block_n = LiveAllocations();
    ++ready_n_;
    while (released_n_ == 0) std::this_thread::yield();
    while (!is_done_) {
      if (random() % 16 == 0) {
        BuildInVain(arrays, random, tally);
      } else {
        CallOne(arrays, random, tally);
      }
      MeasureControl(tally);
      tally.block_n = LiveAllocations() - block_n;
      ++tally.call_n;
    }
  }

  void BuildInVain(CallArrays& arrays, Random& random, Tally& tally) {
    const std::size_t which = random() % builds_.size();
    const VainBuild& build = builds_[which];
    if (last_allocations_[which] < 0 || !arrays.Prepare(*build.subject, build.scalars)) return;
    ++build_n_;
    const int status = [&] {
      const AllocationFailures failures(last_allocations_[which], 1);
      return arrays.Call(build.scalars);
    }();
    --build_n_;
    ++(status == 0 ? tally.kept_n : tally.vain_n);
    if (status != 0 && (status != -5 || !arrays.AreOutputsIntact())) ++tally.wrong_n;
  }

  void CallOne(CallArrays& arrays, Random& random, Tally& tally) {
    // Mostly noise, so that the median is that of usual inputs.
    constexpr std::size_t kContentOf[]{0, 0, 0, 0, 0, 1, 2, 2};
    const std::size_t which = random() % released_n_;
    const std::size_t content = kContentOf[random() % std::size(kContentOf)];
    const Request& request = requests_[which];
    const std::size_t host_index = random() % (std::size(kHostSettings) + 1);
    const HostSetting host =
        host_index < std::size(kHostSettings) ? kHostSettings[host_index] : HostSetting{"default", 0, false};
    const FpState state = host.replaces ? host.bits : kDefaultFpState | host.bits;
    const Placement placement{random() % 2 == 0, random() % 16, kContents[content]};

    tally.current = which;
    PrepareRequest(arrays, request, placement);
    const bool is_warm = is_warm_[which];
    const int build_n = build_n_;
    const Timed timed = TimedCall(state, arrays, request.scalars);
    const Answer& expected = answers_[std::size(kContents) * which + content];
    if (AnswerOf(arrays, timed.status) != expected || timed.settings != SettingsOf(state)) {
      if (tally.wrong_n++ < 3) {
        std::printf("wrong under \"%s\", status %d instead of %d: ", host.name, timed.status, expected.status);
        PrintRequest(which, content);
      }
    }
    ++tally.status_n[timed.status == 0 ? 0 : timed.status == -1 ? 1 : timed.status == -5 ? 2 : 3];
    is_warm_[which] = true;
    if (!is_warm) return;
    ++tally.warm_n;
    Histogram& histogram = histograms_[which];
    histogram.Add(timed.ns);
    if (!histogram.IsSlow(timed.ns)) return;
    // What slows the machine can last a while, and what denormals cost is known.
    const int most_repetitions = placement.inputs == Content::tiny_noise ? 4 : 1000;
    std::uint64_t least = timed.ns;
    for (int i = 0; i < most_repetitions && (i < 4 || histogram.IsSlow(least)); ++i) {
      PrepareRequest(arrays, request, placement);
      least = std::min(least, TimedCall(state, arrays, request.scalars).ns);
    }
    const double median = histogram.Median();
    const Slow slow{static_cast<double>(timed.ns) / median,
                    static_cast<double>(least) / median,
                    request.subject,
                    which,
                    content,
                    host.name,
                    timed,
                    build_n};
    ++tally.slow_n[CauseOf(slow)];
    tally.Keep(slow);
  }

  // The same clock around arithmetic that nothing can delay but the system: what of the slow calls is the machine's.
  void MeasureControl(Tally& tally) {
    static constexpr std::array<std::uint32_t, 4096> kNumbers{};
    const Timed timed = Time(kDefaultFpState, [&] {
      control_sum_.store(Support::Hash(kNumbers, tally.call_n), std::memory_order_relaxed);
      return 0;
    });
    control_.Add(timed.ns);
    ++tally.control_n;
    if (!control_.IsSlow(timed.ns)) return;
    ++tally.slow_control_n;
    tally.worst_control = std::max(tally.worst_control, static_cast<double>(timed.ns) / control_.Median());
  }

  static long ResidentKib() {
    long whole = 0, resident = 0;
    if (std::FILE* const file = std::fopen("/proc/self/statm", "r")) {
      if (std::fscanf(file, "%ld %ld", &whole, &resident) != 2) resident = 0;
      std::fclose(file);
    }
    return resident * (::sysconf(_SC_PAGESIZE) / 1024);
  }

  long BlockCount() const {
    return std::accumulate(tallies_.begin(), tallies_.end(), 0L, [](long n, const Tally& t) { return n + t.block_n; });
  }

  void PrintRequest(std::size_t which, std::size_t content) const {
    const Request& request = requests_[which];
    std::printf("setting %zu: %s %s", which, request.subject->name, TextOf(request.scalars).c_str());
    if (request.null_array) std::printf("array %zu null ", *request.null_array);
    std::printf("of %s\n", kContentNames[content]);
  }

  bool Report() const {
    Tally all;
    std::uint64_t call_n = 0;
    for (const Tally& tally : tallies_) {
      call_n += tally.call_n;
      all.warm_n += tally.warm_n;
      for (std::size_t i = 0; i < std::size(all.status_n); ++i) all.status_n[i] += tally.status_n[i];
      all.vain_n += tally.vain_n;
      all.kept_n += tally.kept_n;
      all.wrong_n += tally.wrong_n;
      all.control_n += tally.control_n;
      all.slow_control_n += tally.slow_control_n;
      all.worst_control = std::max(all.worst_control, tally.worst_control);
      for (std::size_t i = 0; i < kCauseN; ++i) {
        all.slow_n[i] += tally.slow_n[i];
        for (const Slow& slow : tally.slowest[i]) all.Keep(slow);
      }
    }
    const auto n = [](std::uint64_t count) { return static_cast<unsigned long long>(count); };
    std::printf("%llu calls by %zu threads in %.1f minutes, seed %llu: status 0 %llu, -1 %llu, -5 %llu, -128 %llu\n",
                n(call_n), options_.thread_n, options_.minutes, n(options_.seed), n(all.status_n[0]),
                n(all.status_n[1]), n(all.status_n[2]), n(all.status_n[3]));
    std::printf("%llu tables built in vain, %llu kept\n", n(all.vain_n), n(all.kept_n));
    std::printf("%llu wrong results\n", n(all.wrong_n));
    const long growth = most_memory_ - flat_memory_;
    std::printf("memory %ld KiB at first, %ld with all tables, at most %ld later; %ld blocks kept, %ld later\n",
                start_memory_, flat_memory_, most_memory_, flat_block_n_, BlockCount());
    std::printf("%llu warm calls, slower than 10 medians:\n", n(all.warm_n));
    for (std::size_t i = 0; i < kCauseN; ++i) {
      std::printf("%10llu %s\n", n(all.slow_n[i]), kCauseNames[i]);
      for (const Slow& slow : all.slowest[i]) {
        std::printf("%20.1f medians, repeated %.1f, %.1f us, %d builds meanwhile, \"%s\", ", slow.ratio,
                    slow.repeated_ratio, static_cast<double>(slow.timed.ns) / 1e3, slow.build_n, slow.host);
        PrintRequest(slow.request, slow.content);
      }
    }
    std::printf("%10llu of %llu measurements of %.1f us of arithmetic (at worst %.0f medians)\n", n(all.slow_control_n),
                n(all.control_n), control_.Median() / 1e3, all.worst_control);
    constexpr long kMaxGrowth = 1024;  // of the C library's free lists
    const bool is_short = options_.minutes < 1.0;
    return all.wrong_n == 0 && (is_short || (growth <= kMaxGrowth && all.slow_n[kRepeats] == 0));
  }

  Options options_;
  std::vector<Request> requests_;
  std::vector<VainBuild> builds_;
  std::vector<Histogram> histograms_;
  std::vector<std::atomic<bool>> is_warm_;
  std::vector<Tally> tallies_;
  mutable SharedArray<Answer> answers_;
  mutable SharedArray<long> last_allocations_;
  Histogram control_;
  std::atomic<std::uint64_t> control_sum_ = 0;
  std::atomic<std::size_t> released_n_ = 0;
  std::atomic<std::size_t> ready_n_ = 0;
  std::atomic<int> build_n_ = 0;
  std::atomic<bool> is_done_ = false;
  long start_memory_ = 0;
  long flat_memory_ = 0;
  long most_memory_ = 0;
  long flat_block_n_ = 0;
};

}  // namespace
}  // namespace kelvo::Reliability

int main(int argument_n, char** arguments) {
  using namespace kelvo::Reliability;
  Options options;
  for (int i = 1; i < argument_n; i += 2) {
    const std::string_view name = arguments[i];
    const double value = i + 1 < argument_n ? std::atof(arguments[i + 1]) : 0.0;
    if (value > 0.0 && name == "--minutes") {
      options.minutes = value;
    } else if (value >= 1.0 && name == "--threads") {
      options.thread_n = static_cast<std::size_t>(value);
    } else if (value >= 1.0 && name == "--settings") {
      options.setting_n = static_cast<std::size_t>(value);
    } else if (value >= 1.0 && name == "--seed") {
      options.seed = static_cast<std::uint64_t>(value);
    } else {
      std::fputs(kUsage, stderr);
      return 2;
    }
  }
  return Endurance(options).Run() ? 0 : 1;
}
