// How long a warm call takes at worst, alone and while another thread builds tables, for all exports: a table for
// docs/performance.md. Wall time, since a call that waits for a lock spends no other. Calls during which the scheduler
// gave the core to another thread are left out and counted, as are those that gave it away themselves, to wait.
// Usage: kelvo_audio_latency [CALLS]     of each export, by default 20000
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "kelvo_audio.h"
#include "reliability/calls.h"

namespace kelvo::Bench {
namespace {

using Reliability::CallArrays;
using Reliability::Export;
using Reliability::Exports;
using Clock = std::chrono::steady_clock;

struct Call {
  const Export* subject;
  CallArrays arrays;
  std::vector<double> times;  // in microseconds
  long interrupted_n = 0;
  long waited_n = 0;

  int Run() const { return arrays.Call(subject->live.front()); }
};

struct Switches {
  long involuntary, voluntary;
};
Switches CountSwitches() {
  rusage usage{};
  ::getrusage(RUSAGE_THREAD, &usage);
  return {usage.ru_nivcsw, usage.ru_nvcsw};
}

// All exports in turn, so that each finds the caches as a live program would leave them.
void Measure(std::vector<Call>& calls, int call_n) {
  for (Call& call : calls) {
    call.times.clear();
    call.interrupted_n = call.waited_n = 0;
  }
  for (int i = 0; i < call_n; ++i) {
    for (Call& call : calls) {
      const Switches before = CountSwitches();
      const auto start = Clock::now();
      const int status = call.Run();
      const std::chrono::duration<double, std::micro> time = Clock::now() - start;
      const Switches after = CountSwitches();
      if (status != 0) std::exit(EXIT_FAILURE);
      call.interrupted_n += after.involuntary - before.involuntary;
      call.waited_n += after.voluntary - before.voluntary;
      if (after.involuntary == before.involuntary) call.times.push_back(time.count());
    }
  }
  for (Call& call : calls) std::sort(call.times.begin(), call.times.end());
}

// Small tables of every kind, and every now and then one that takes longer than a second or a tenth of one.
void BuildUntil(const std::atomic<bool>& is_done) {
  CallArrays arrays;
  std::vector<float> signal(1 << 19), result(1 << 20);
  for (int key = 0; !is_done; ++key) {
    // A limited number of keys, or the tables would exhaust the memory.
    if (key < 20) kelvoAudioFFT(result.data(), signal.data(), (1 << 18) + 2 * key);
    if (key < 10) kelvoAudioResample(result.data(), signal.data(), 40001 + 2 * key, 2, 48000, 2);
    for (const Export& subject : Exports()) {
      const Reliability::Scalars scalars = subject.FreshSettings(100 + key % 2000);
      if (subject.UsesCache() && arrays.Prepare(subject, scalars)) arrays.Call(scalars);
    }
  }
}

double At(const Call& call, double share) {
  if (call.times.empty()) return 0.0;
  return call.times[static_cast<std::size_t>(share * static_cast<double>(call.times.size() - 1))];
}

void Run(int call_n) {
  std::vector<Call> calls;
  for (const Export& subject : Exports()) {
    calls.push_back({&subject, {}, {}});
    if (!calls.back().arrays.Prepare(subject, subject.live.front()) || calls.back().Run() != 0) std::exit(EXIT_FAILURE);
  }
  Measure(calls, call_n);
  std::vector<Call> alone;
  std::swap(alone, calls);
  for (const Call& call : alone) {
    calls.push_back({call.subject, {}, {}});
    calls.back().arrays.Prepare(*call.subject, call.subject->live.front());
  }
  std::atomic<bool> is_done = false;
  std::thread builder(BuildUntil, std::cref(is_done));
  Measure(calls, call_n);
  is_done = true;
  builder.join();

  std::puts("| call | alone: median | 99.9 % | worst | beside builds: median | 99.9 % | worst | waits |");
  std::puts("|---|---|---|---|---|---|---|---|");
  for (std::size_t i = 0; i < calls.size(); ++i) {
    const auto print = [](const Call& call) {
      std::printf(" %.2f | %.2f | %.0f |", At(call, 0.5), At(call, 0.999), At(call, 1.0));
    };
    std::printf("| %s(%s) |", calls[i].subject->name, Reliability::TextOf(calls[i].subject->live.front()).c_str());
    print(alone[i]);
    print(calls[i]);
    std::printf(" %ld |\n", calls[i].waited_n);
  }
  long interrupted_n = 0;
  for (const Call& call : calls) interrupted_n += call.interrupted_n;
  std::printf("\nmicroseconds; %d calls each; %ld calls that the scheduler interrupted are left out\n", call_n,
              interrupted_n);
}

}  // namespace
}  // namespace kelvo::Bench

int main(int argument_n, char** arguments) { kelvo::Bench::Run(argument_n > 1 ? std::atoi(arguments[1]) : 20000); }
