// Loading and unloading the shared library repeatedly.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <fstream>
#include <string>
#include <vector>

#include "reliability/child.h"
#include "reliability/fp_state.h"
#include "reliability/sanitizers.h"

namespace {

using namespace kelvo::Reliability;

constexpr const char* kModule = KELVO_MODULE;
constexpr bool kIsEmulated = KELVO_IS_EMULATED;

template <class Function>
Function* Find(void* module, const char* name) {
  return reinterpret_cast<Function*>(::dlsym(module, name));
}

// One table of each kind; the number of calls that failed.
int BuildTables(void* module) {
  std::vector<float> signal(1024, 0.5f), result(2048);
  int failed_n = 0;
  const auto check = [&](int status) { failed_n += status != 0 ? 1 : 0; };
  check(Find<int(float*, const float*, int)>(module, "kelvoAudioFFT")(result.data(), signal.data(), 1000));
  check(Find<int(float*, int, int)>(module, "kelvoAudioGetWindow")(result.data(), 1000, 1));
  check(Find<int(float*, int, float, float, int, int, int, int)>(module, "kelvoAudioGetFBMatrix")(
      result.data(), 201, 0.0f, 8000.0f, 10, 16000, 1, 0));
  check(Find<int(float*, const float*, int, int, int, int)>(module, "kelvoAudioResample")(result.data(), signal.data(),
                                                                                          160, 300, 441, 1024));
  return failed_n;
}

long ResidentKilobytes() {
  std::ifstream status("/proc/self/status");
  std::string word;
  while (status >> word) {
    if (word == "VmRSS:") break;
  }
  long kilobytes = 0;
  status >> kilobytes;
  return kilobytes;
}

TEST(Module, LeavesNothingBehindWhenUnloaded) {
  if (kIsSanitized) GTEST_SKIP() << "keeps unloaded modules and freed blocks";
  constexpr int kWarmUpN = 50;
  constexpr int kCycleN = 1000;
  constexpr long kMostKilobytes = 256;
  const FpState before = SettingsOf(CurrentFpState());
  std::size_t first_heap = 0;
  long first_resident = 0;
  for (int cycle = 0; cycle < kWarmUpN + kCycleN; ++cycle) {
    if (cycle == kWarmUpN) {
      first_heap = ::mallinfo2().uordblks;
      first_resident = ResidentKilobytes();
    }
    void* const module = ::dlopen(kModule, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << ::dlerror();
    ASSERT_EQ(BuildTables(module), 0);
    ASSERT_EQ(::dlclose(module), 0);
    ASSERT_EQ(::dlopen(kModule, RTLD_NOW | RTLD_NOLOAD), nullptr) << "something keeps the library in memory";
  }
  const long heap_growth = (static_cast<long>(::mallinfo2().uordblks) - static_cast<long>(first_heap)) / 1024;
  const long resident_growth = ResidentKilobytes() - first_resident;
  std::cout << "growth: heap " << heap_growth << " KiB, resident " << resident_growth << " KiB\n";
  EXPECT_LT(heap_growth, kMostKilobytes);
  // An emulator's memory grows with the code that it translates.
  if (!kIsEmulated) {
    EXPECT_LT(resident_growth, kMostKilobytes);
  }
  EXPECT_EQ(SettingsOf(CurrentFpState()), before);
  // fork must not call a handler of the unloaded library.
  EXPECT_EQ(RunInChild([] { return 0; }, 10), 0);
}

}  // namespace
