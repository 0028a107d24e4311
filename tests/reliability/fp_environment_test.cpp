// Hosts that flush denormals, round otherwise or let exceptions trap: the same bits, and their settings left alone.
#include <gtest/gtest.h>

#include "reliability/calls.h"
#include "reliability/failing_new.h"
#include "reliability/fp_state.h"

namespace kelvo::Reliability {
namespace {

// A call in a host's environment: its status, and the settings it left.
struct Outcome {
  int status;
  FpState settings;
};

Outcome CallIn(FpState state, const CallArrays& arrays, const Scalars& scalars) {
  Outcome outcome;
  SetFpState(state);
  outcome.status = arrays.Call(scalars);
  outcome.settings = SettingsOf(CurrentFpState());
  SetFpState(kDefaultFpState);
  return outcome;
}

class HostEnvironment : public testing::TestWithParam<Export> {};

TEST_P(HostEnvironment, DoesNotAffectResultsAndIsRestored) {
  const Export& subject = GetParam();
  CallArrays arrays;
  int fresh = 200;
  for (const HostSetting& host : kHostSettings) {
    SCOPED_TRACE(host.name);
    const FpState state = host.replaces ? host.bits : kDefaultFpState | host.bits;
    std::vector<Scalars> settings = subject.settings;
    // A table that is built in the host's environment must have the same bits as any other.
    if (subject.UsesCache()) settings.push_back(subject.FreshSettings(fresh++));
    for (const Scalars& scalars : settings) {
      for (const Content inputs : {Content::tiny_noise, Content::noise}) {
        const Placement placement{.inputs = inputs};
        ASSERT_TRUE(arrays.Prepare(subject, scalars, placement));
        const Outcome outcome = CallIn(state, arrays, scalars);
        const std::vector<std::uint32_t> bits = arrays.OutputBits();
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.settings, SettingsOf(state));
        ASSERT_TRUE(arrays.Prepare(subject, scalars, placement));
        ASSERT_EQ(CallIn(kDefaultFpState, arrays, scalars).status, 0);
        EXPECT_EQ(arrays.OutputBits(), bits);
      }
    }
    // Failures: no memory, a bad argument, a null.
    const Scalars& usual = subject.settings.front();
    Scalars bad = usual;
    for (Scalar& scalar : bad) {
      if (std::holds_alternative<int>(scalar)) scalar = -1;
    }
    ASSERT_TRUE(arrays.Prepare(subject, usual));
    {
      const AllocationFailures failures(0, AllocationFailures::kForGood);
      EXPECT_EQ(CallIn(state, arrays, usual).settings, SettingsOf(state));
    }
    EXPECT_EQ(CallIn(state, arrays, bad).settings, SettingsOf(state));
    arrays.SetNull(0);
    EXPECT_EQ(CallIn(state, arrays, usual).settings, SettingsOf(state));
  }
}

INSTANTIATE_TEST_SUITE_P(Exports, HostEnvironment, testing::ValuesIn(Exports()), NameOf);

}  // namespace
}  // namespace kelvo::Reliability
