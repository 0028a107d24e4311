// Calls as a thread that plays sound makes them, once their tables exist: they allocate nothing, lock nothing, make no
// system call, whatever other threads build meanwhile, and need little stack.
#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <thread>
#include <tuple>

#include "reliability/calls.h"
#include "reliability/child.h"
#include "reliability/failing_lock.h"
#include "reliability/failing_new.h"
#include "reliability/level_override.h"
#include "reliability/sanitizers.h"

#if defined(__linux__)
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#endif

namespace kelvo::Reliability {
namespace {

// Beyond the keys of the other tests in this program.
constexpr int kFirstKey = 5000;

// A call and arrays of its own, so that nothing is prepared between calls.
struct LiveCall {
  const Export* subject;
  Scalars scalars;
  CallArrays arrays;

  std::string Text() const { return std::string(subject->name).append(": ").append(TextOf(scalars)); }
};

std::vector<LiveCall> PrepareLiveCalls() {
  std::vector<LiveCall> calls;
  for (const Export& subject : Exports()) {
    EXPECT_FALSE(subject.live.empty()) << subject.name;
    for (const Scalars& scalars : subject.live) {
      calls.push_back({&subject, scalars, {}});
      EXPECT_TRUE(calls.back().arrays.Prepare(subject, scalars));
    }
  }
  return calls;
}

// The status of a call that can neither allocate nor lock. One that tries and goes on has failed, too.
int CallWithoutMemory(const CallArrays& arrays, const Scalars& scalars) {
  const AllocationFailures no_memory(0, AllocationFailures::kForGood);
  const LockFailures no_lock;
  const int status = arrays.Call(scalars);
  return no_memory.Failed() == 0 ? status : 1;
}

// Keeps building new tables.
void BuildUntil(const std::atomic<bool>& is_done, int first_key) {
  CallArrays arrays;
  for (int key = first_key; !is_done; ++key) {
    for (const Export& subject : Exports()) {
      // A limited number of keys, or the tables would exhaust the memory.
      const Scalars scalars = subject.FreshSettings(kFirstKey + key % 500);
      if (subject.UsesCache() && arrays.Prepare(subject, scalars)) arrays.Call(scalars);
    }
  }
}

TEST(LiveCalls, NeitherAllocateNorLock) {
  for (const Simd::Level level : Simd::SupportedLevels()) {
    const LevelOverride use(level);
    std::vector<LiveCall> calls = PrepareLiveCalls();
    for (const LiveCall& call : calls) ASSERT_EQ(call.arrays.Call(call.scalars), 0) << call.Text();
    for (const LiveCall& call : calls) {
      EXPECT_EQ(CallWithoutMemory(call.arrays, call.scalars), 0) << call.Text() << Simd::LevelName(level);
    }
  }
}

bool HasLargePrime(int number) {
  for (int p = 2; p <= 31; ++p) {
    while (number % p == 0) number /= p;
  }
  return number > 1;
}

// The lengths that the header promises: even ones up to 2048, others up to 1024, without large prime factors.
TEST(LiveCalls, HaveFramesOfAnyLength) {
  CallArrays arrays;
  for (int fft_n = 1; fft_n <= 2048; fft_n += fft_n < 1024 ? 1 : 2) {
    // Each length has plans of its own to build, and a sanitizer sees little more in many than in some.
    if (HasLargePrime(fft_n) || (kIsSanitized && fft_n % 16 > 1)) continue;
    const int freq_n = fft_n / 2 + 1;
    std::vector<std::tuple<const char*, Scalars>> rows{
        {"FFT", {fft_n}},
        {"GetSpectrogram", {fft_n, fft_n, 100, fft_n, 1, 1, 1, 0.7f, 1}},
    };
    if (fft_n > 3) {
      const int mel_n = std::min(128, freq_n - 1);
      rows.push_back(
          {"GetMelSpectrogram", {fft_n, 16000, fft_n, 99, fft_n, 1, 1, 1, 2.0f, 1, 0.0f, 8000.0f, mel_n, 1, 0}});
    }
    if (fft_n % 2 == 0) rows.push_back({"GetInverseSpectrogram", {1, freq_n, 100, fft_n, 1, fft_n, 0, 0}});
    rows.push_back({"IFFT", {fft_n}});
    for (const auto& [name, scalars] : rows) {
      const Export& subject = FindExport(name);
      ASSERT_TRUE(arrays.Prepare(subject, scalars));
      ASSERT_EQ(arrays.Call(scalars), 0) << name << ": " << TextOf(scalars);
      EXPECT_EQ(CallWithoutMemory(arrays, scalars), 0) << name << ": " << TextOf(scalars);
    }
  }
}

// Blocks of up to 1024 samples from any rate to any other; filters of up to 512 coefficients, and forward and backward
// with the paddings that are usual for up to 128.
TEST(LiveCalls, HaveBlocksOfManyFiltersAndRates) {
  std::vector<std::pair<const char*, Scalars>> rows;
  const int rates[] = {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000, 96000, 192000};
  for (const int src_rate : rates) {
    for (const int dst_rate : rates) {
      for (const int src_n : {1024, 1000, 128, 2}) {
        rows.push_back({"Resample", {dst_rate, src_n * (dst_rate / src_rate + 1), src_rate, src_n}});
      }
    }
  }
  for (const int b_n : {1, 2, 3, 9, 17, 64, 128, 200, 256, 512}) {
    for (const int a_n : {1, 3, 16, b_n}) {
      for (const int src_n : {1024, 1, 100}) {
        rows.push_back({"LinerFilter", {src_n, src_n, b_n, a_n, 511}});
        const int pad_n = std::min(3 * std::max(a_n, b_n), src_n - 1);
        if (b_n <= 128) rows.push_back({"FilterFilter", {src_n, src_n, b_n, a_n, 1 + b_n % 3, pad_n}});
      }
    }
  }
  CallArrays arrays;
  for (const auto& [name, scalars] : rows) {
    ASSERT_TRUE(arrays.Prepare(FindExport(name), scalars));
    ASSERT_EQ(arrays.Call(scalars), 0) << name << ": " << TextOf(scalars);
    EXPECT_EQ(CallWithoutMemory(arrays, scalars), 0) << name << ": " << TextOf(scalars);
  }
}

#if defined(__linux__)

// Any further system call of this thread ends the process.
bool ForbidSystemCalls() {
  sock_filter kill_process = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS);
  const sock_fprog program{1, &kill_process};
  return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program, 0, 0) == 0;
}

// Settings in turn, while other threads build tables.
TEST(LiveCalls, MakeNoSystemCall) {
  if (kIsSanitized) GTEST_SKIP();
  constexpr int kRoundN = 20;
  enum { kRunning, kDone, kFailed, kNoFilter };
  struct Progress {
    std::atomic<int> state;
    std::atomic<std::size_t> call;
  };
  std::vector<LiveCall> calls = PrepareLiveCalls();
  for (const LiveCall& call : calls) ASSERT_EQ(call.arrays.Call(call.scalars), 0) << call.Text();
  SharedArray<Progress> shared(1);
  Progress& progress = shared[0];
  const int status = RunInChild(
      [&] {
        std::atomic<bool> is_done = false;
        std::thread builders[] = {std::thread(BuildUntil, std::cref(is_done), 0),
                                  std::thread(BuildUntil, std::cref(is_done), 250)};
        std::thread live([&] {
          // It cannot even end: the process ends with it.
          int state = ForbidSystemCalls() ? kRunning : kNoFilter;
          for (int round = 0; round < kRoundN && state == kRunning; ++round) {
            for (std::size_t i = 0; i < calls.size(); ++i) {
              progress.call = i;
              if (CallWithoutMemory(calls[i].arrays, calls[i].scalars) != 0) state = kFailed;
            }
          }
          progress.state = state == kRunning ? static_cast<int>(kDone) : state;
          for (;;) static_cast<void>(progress.state.load());  // a compiler may drop a loop without any access
        });
        while (progress.state == kRunning) std::this_thread::yield();
        // At once: the threads still run.
        ::_exit(progress.state == kDone ? 0 : 1);
        return 1;
      },
      120);
  if (progress.state == kNoFilter) GTEST_SKIP() << "no system call filters here";
  EXPECT_EQ(status, 0) << "state " << progress.state << ", the last call: " << calls[progress.call].Text();
}

#endif

#if defined(__OPTIMIZE__)

constexpr std::size_t kStackBytes = std::size_t{256} << 10;
constexpr std::size_t kMostBytes = std::size_t{48} << 10;
constexpr unsigned char kPaint = 0xC5;

// The bytes of stack below this frame that a call writes.
[[gnu::noinline]] std::size_t MeasureStack(const LiveCall& call, unsigned char* lowest) {
  auto* const frame = static_cast<unsigned char*>(__builtin_frame_address(0));
  constexpr std::size_t kOwnBytes = 2048;  // of this function and of memset
  std::memset(lowest, kPaint, static_cast<std::size_t>(frame - lowest) - kOwnBytes);
  if (call.arrays.Call(call.scalars) != 0) return kStackBytes;
  const auto* const touched = std::find_if(lowest, frame, [](unsigned char byte) { return byte != kPaint; });
  return static_cast<std::size_t>(frame - touched);
}

TEST(LiveCalls, NeedLittleStack) {
  if (kIsSanitized) GTEST_SKIP();
  std::vector<LiveCall> calls = PrepareLiveCalls();
  std::size_t most = 0;
  for (const Simd::Level level : Simd::SupportedLevels()) {
    const LevelOverride use(level);
    for (const LiveCall& call : calls) {
      ASSERT_EQ(call.arrays.Call(call.scalars), 0);
      struct Job {
        const LiveCall* call;
        unsigned char* lowest;
        std::size_t bytes;
      };
      alignas(4096) static unsigned char stack[kStackBytes];
      Job job{&call, stack, 0};
      pthread_attr_t attributes;
      pthread_t thread;
      ASSERT_EQ(pthread_attr_init(&attributes), 0);
      ASSERT_EQ(pthread_attr_setstack(&attributes, stack, sizeof(stack)), 0);
      ASSERT_EQ(pthread_create(
                    &thread, &attributes,
                    [](void* argument) -> void* {
                      Job& own = *static_cast<Job*>(argument);
                      own.bytes = MeasureStack(*own.call, own.lowest);
                      return nullptr;
                    },
                    &job),
                0);
      ASSERT_EQ(pthread_join(thread, nullptr), 0);
      pthread_attr_destroy(&attributes);
      EXPECT_LE(job.bytes, kMostBytes) << call.Text() << Simd::LevelName(level);
      most = std::max(most, job.bytes);
    }
  }
  std::printf("up to %zu bytes of stack\n", most);
}

#endif

}  // namespace
}  // namespace kelvo::Reliability
