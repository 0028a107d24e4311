// Every allocation of every export fails once.
#include <gtest/gtest.h>

#include <climits>

#include "reliability/calls.h"
#include "reliability/child.h"
#include "reliability/failing_new.h"

namespace kelvo::Reliability {
namespace {

constexpr int kOutOfMemory = -5;
constexpr int kMaxPoints = 64;  // more than any call allocates, in both ways of failing together

struct Outcome {
  int status;
  std::uint64_t bits;
  long kept;  // allocations that outlive the call
};

Outcome Observe(CallArrays& arrays, const Export& subject, const Scalars& scalars) {
  if (!arrays.Prepare(subject, scalars)) return {INT_MIN, 0, 0};
  const long live = LiveAllocations();
  const int status = arrays.Call(scalars);
  return {status, 0, LiveAllocations() - live};
}

Outcome ObserveBits(CallArrays& arrays, const Export& subject, const Scalars& scalars) {
  Outcome outcome = Observe(arrays, subject, scalars);
  outcome.bits = Hash(arrays.OutputBits());
  return outcome;
}

class AllocationFailure : public testing::TestWithParam<Export> {};

// What calls with tables never built before give where nothing fails, found in a process of its own.
void FindReferences(const Export& subject, SharedArray<Outcome>& references) {
  const int result = RunInChild(
      [&] {
        CallArrays arrays;
        for (int i = 0; i < kMaxPoints; ++i) {
          references[static_cast<std::size_t>(i)] = ObserveBits(arrays, subject, subject.FreshSettings(i));
        }
        return 0;
      },
      60);
  ASSERT_EQ(result, 0);
}

TEST_P(AllocationFailure, LeavesNoTrace) {
  const Export& subject = GetParam();
  SharedArray<Outcome> references(kMaxPoints);
  FindReferences(subject, references);
  CallArrays arrays;
  int fresh = 0;
  for (const long how_many : {1L, AllocationFailures::kForGood}) {
    for (long point = 0;; ++point) {
      ASSERT_LT(fresh, kMaxPoints);
      const int index = fresh++;
      SCOPED_TRACE(testing::Message() << "allocation " << point << ", " << how_many << " in a row");
      const Outcome& reference = references[static_cast<std::size_t>(index)];
      ASSERT_EQ(reference.status, 0);
      const Scalars scalars = subject.FreshSettings(index);
      Outcome failed;
      bool has_failed;
      {
        ASSERT_TRUE(arrays.Prepare(subject, scalars));
        AllocationFailures failures(point, how_many);
        failed = {0, 0, -LiveAllocations()};
        failed.status = arrays.Call(scalars);
        failed.kept += LiveAllocations();
        has_failed = failures.Failed() > 0;
      }
      EXPECT_TRUE(arrays.AreInputsIntact());
      if (!has_failed) {
        EXPECT_EQ(failed.status, 0);
        EXPECT_EQ(Hash(arrays.OutputBits()), reference.bits);
        break;
      }
      EXPECT_EQ(failed.status, kOutOfMemory);
      EXPECT_TRUE(arrays.AreOutputsIntact());
      // Tables that were completed before the failure stay; what the two calls keep is what one keeps else.
      const Outcome next = ObserveBits(arrays, subject, scalars);
      EXPECT_EQ(next.status, 0);
      EXPECT_EQ(next.bits, reference.bits);
      EXPECT_EQ(failed.kept + next.kept, reference.kept);
    }
  }
}

TEST_P(AllocationFailure, LeavesNoTraceOnceTablesExist) {
  const Export& subject = GetParam();
  CallArrays arrays;
  for (const Scalars& scalars : subject.settings) {
    ASSERT_EQ(Observe(arrays, subject, scalars).status, 0);
    const Outcome reference = ObserveBits(arrays, subject, scalars);
    EXPECT_EQ(reference.kept, 0);
    for (const long how_many : {1L, AllocationFailures::kForGood}) {
      for (long point = 0;; ++point) {
        ASSERT_LT(point, kMaxPoints);
        ASSERT_TRUE(arrays.Prepare(subject, scalars));
        const long live = LiveAllocations();
        int status;
        bool has_failed;
        {
          AllocationFailures failures(point, how_many);
          status = arrays.Call(scalars);
          has_failed = failures.Failed() > 0;
        }
        EXPECT_EQ(LiveAllocations(), live);
        EXPECT_EQ(status, has_failed ? kOutOfMemory : 0);
        if (!has_failed) break;
        EXPECT_TRUE(arrays.AreOutputsIntact());
        EXPECT_EQ(ObserveBits(arrays, subject, scalars).bits, reference.bits);
      }
    }
  }
}

// A bad argument is reported in an exception, whose text needs memory, too.
TEST_P(AllocationFailure, OfABadArgumentGivesEitherStatus) {
  const Export& subject = GetParam();
  CallArrays arrays;
  for (std::size_t i = 0; i < subject.settings.front().size(); ++i) {
    Scalars scalars = subject.settings.front();
    if (std::holds_alternative<float>(scalars[i])) continue;
    scalars[i] = INT_MIN;
    for (long point = 0; point < 8; ++point) {
      ASSERT_TRUE(arrays.Prepare(subject, scalars));
      const long live = LiveAllocations();
      int status;
      {
        const AllocationFailures failures(point, AllocationFailures::kForGood);
        status = arrays.Call(scalars);
      }
      EXPECT_EQ(LiveAllocations(), live);
      if (status == 0) break;  // any value is good for this parameter
      EXPECT_TRUE(status == -1 || status == kOutOfMemory) << "status " << status << ", parameter " << i;
      EXPECT_TRUE(arrays.AreOutputsIntact());
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Exports, AllocationFailure, testing::ValuesIn(Exports()), NameOf);

}  // namespace
}  // namespace kelvo::Reliability
