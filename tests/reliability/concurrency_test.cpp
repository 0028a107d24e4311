// Threads that request the same new tables, forks while tables are built, and locks that fail.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <latch>
#include <optional>
#include <thread>

#include "reliability/calls.h"
#include "reliability/child.h"
#include "reliability/failing_lock.h"
#include "reliability/failing_new.h"
#include "reliability/sanitizers.h"

namespace kelvo::Reliability {
namespace {

std::vector<Export> CacheExports() {
  std::vector<Export> found;
  for (const Export& subject : Exports()) {
    if (subject.UsesCache()) found.push_back(subject);
  }
  return found;
}

// Beyond the keys of the other tests in this program.
constexpr int kFirstKey = 80;

class SharedTables : public testing::TestWithParam<Export> {};

TEST_P(SharedTables, AreTheSameForAllThreads) {
  constexpr int kThreadN = 8;
  constexpr int kKeyN = 12;
  constexpr int kRoundN = 2;
  const Export& subject = GetParam();
  using Outputs = std::vector<std::vector<std::uint32_t>>;
  const auto call_all = [&](int first, Outputs& outputs) {
    CallArrays arrays;
    outputs.resize(kKeyN);
    long kept = 0;
    // In turn: each table is asked for again while other threads build later ones.
    for (int i = 0; i < kRoundN * kKeyN; ++i) {
      const int key = (first + i % kKeyN + i / kKeyN) % kKeyN;
      const Scalars scalars = subject.FreshSettings(kFirstKey + key);
      if (!arrays.Prepare(subject, scalars)) return -1L;
      const long live = LiveAllocations();
      if (arrays.Call(scalars) != 0) return -1L;
      kept += LiveAllocations() - live;
      auto& output = outputs[static_cast<std::size_t>(key)];
      if (output.empty()) output = arrays.OutputBits();
      if (output != arrays.OutputBits()) return -1L;
    }
    return kept;
  };
  // The number of blocks that a single thread keeps, found in another process.
  SharedArray<long> alone(1);
  ASSERT_EQ(RunInChild(
                [&] {
                  Outputs outputs;
                  alone[0] = call_all(0, outputs);
                  return 0;
                },
                60),
            0);
  ASSERT_GT(alone[0], 0);

  std::latch start(kThreadN);
  std::vector<Outputs> outputs(kThreadN);
  std::vector<long> kept(kThreadN);
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < kThreadN; ++t) {
    threads.emplace_back([&, t] {
      start.arrive_and_wait();
      // Two threads each in the same order, the others shifted.
      kept[t] = call_all(static_cast<int>(t / 2), outputs[t]);
    });
  }
  for (std::thread& thread : threads) thread.join();
  long all_kept = 0;
  for (std::size_t t = 0; t < kThreadN; ++t) {
    EXPECT_GE(kept[t], 0);
    EXPECT_EQ(outputs[t], outputs[0]);
    all_kept += kept[t];
  }
  EXPECT_EQ(all_kept, alone[0]);
}

INSTANTIATE_TEST_SUITE_P(Exports, SharedTables, testing::ValuesIn(CacheExports()), NameOf);

// The sanitizers' own allocators and locks do not survive a fork of several threads.
TEST(Fork, LeavesTheCachesOfTheChildUsable) {
  if (kIsSanitized) GTEST_SKIP();
  constexpr int kRoundN = 200;
  const std::vector<Export> subjects = CacheExports();
  // The arrays share signals that are built once: here, or a child could wait for a thread that only its parent has.
  ASSERT_TRUE(CallArrays().Prepare(subjects[0], subjects[0].FreshSettings(kFirstKey + 30)));
  std::atomic<bool> is_done = false;
  std::thread builder([&] {
    CallArrays arrays;
    for (int key = 2 * kFirstKey; !is_done; ++key) {
      // A limited number of keys, or the tables would exhaust the memory.
      const Export& subject = subjects[static_cast<std::size_t>(key) % subjects.size()];
      const Scalars scalars = subject.FreshSettings(2 * kFirstKey + key % 2000);
      if (arrays.Prepare(subject, scalars)) arrays.Call(scalars);
    }
  });
  int failed_n = 0;
  for (int round = 0; round < kRoundN; ++round) {
    const auto call_all = [&] {
      CallArrays arrays;
      for (const Export& subject : subjects) {
        const Scalars scalars = subject.FreshSettings(kFirstKey + 30);
        if (!arrays.Prepare(subject, scalars) || arrays.Call(scalars) != 0) return 1;
      }
      return 0;
    };
    failed_n += RunInChild(call_all, 5) != 0 ? 1 : 0;
    if (failed_n > 2) break;  // each one that hangs takes 5 seconds
  }
  is_done = true;
  builder.join();
  EXPECT_EQ(failed_n, 0);
}

TEST(FailingLock, IsReportedByTheExportsThatUseACache) {
  CallArrays arrays;
  for (const Export& subject : Exports()) {
    SCOPED_TRACE(subject.name);
    const Scalars scalars = subject.UsesCache() ? subject.FreshSettings(kFirstKey + 40) : subject.settings.front();
    ASSERT_TRUE(arrays.Prepare(subject, scalars));
    const long live = LiveAllocations();
    const int status = [&] {
      const LockFailures failures;
      return arrays.Call(scalars);
    }();
    EXPECT_EQ(status, subject.UsesCache() ? -128 : 0);
    EXPECT_EQ(LiveAllocations(), live);
    if (subject.UsesCache()) {
      EXPECT_TRUE(arrays.AreOutputsIntact());
    }
    EXPECT_EQ(arrays.Call(scalars), 0);
  }
}

// Settings in turn: each table is found without the lock, whichever was asked for last.
TEST(FailingLock, IsNotMetOnceTablesExist) {
  CallArrays arrays;
  for (const Export& subject : CacheExports()) {
    for (const bool fails : {false, true, true}) {
      for (const int key : {kFirstKey + 41, kFirstKey + 42, kFirstKey + 43}) {
        const Scalars scalars = subject.FreshSettings(key);
        ASSERT_TRUE(arrays.Prepare(subject, scalars));
        std::optional<LockFailures> failures;
        if (fails) failures.emplace();
        EXPECT_EQ(arrays.Call(scalars), 0) << subject.name << ", setting " << key;
      }
    }
  }
}

TEST(FailingLock, LeavesForkAlone) {
  if (kIsSanitized) GTEST_SKIP();
  {
    const LockFailures failures;
    EXPECT_EQ(RunInChild([] { return 0; }, 5), 0);
  }
  CallArrays arrays;
  for (const Export& subject : CacheExports()) {
    ASSERT_TRUE(arrays.Prepare(subject, subject.settings.front()));
    EXPECT_EQ(arrays.Call(subject.settings.front()), 0) << subject.name;
  }
}

}  // namespace
}  // namespace kelvo::Reliability
