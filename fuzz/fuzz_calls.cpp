// Calls the exports of one subsystem with whatever libFuzzer invents: the first byte chooses the export, one byte each
// how a scalar comes about, and what is left fills the input arrays.
//
// Beside the sanitizers' reports: every status is documented, failures leave the outputs alone, and all kernel levels
// give the same bits.
#include <algorithm>
#include <bit>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <numeric>
#include <string_view>

#include "reliability/calls.h"
#include "reliability/failing_new.h"
#include "reliability/level_override.h"

namespace kelvo::Reliability {
namespace {

struct Subsystem {
  std::string_view name;
  std::vector<std::string_view> exports;
};

const Subsystem kSubsystems[]{
    {"api", {"Log1p", "Standardize"}},
    {"fft", {"FFT", "IFFT"}},
    {"stft",
     {"GetWindow", "GetFrameLen", "GetSampleLen", "FixFrameLen", "GetSpectrogram", "GetInverseSpectrogram",
      "GetNonSilentPos"}},
    {"mel", {"GetFBMatrix", "GetMelSpectrogram", "ConvertToMel", "ConvertPowerToDB", "ComplexNorm", "MagPhase"}},
    {"filter", {"LinerFilter", "GetLinerFilterZiCoef", "FilterFilter", "Resample", "GetResampleLen"}},
};

std::vector<const Export*> FindExports() {
  const auto subsystem = std::ranges::find(kSubsystems, std::string_view(KELVO_SUBSYSTEM), &Subsystem::name);
  std::vector<const Export*> found;
  for (const Export& subject : Exports()) {
    if (std::ranges::find(subsystem->exports, subject.name) != subsystem->exports.end()) found.push_back(&subject);
  }
  return found;
}

// The bytes that libFuzzer gives, in order; zeros behind their end.
class Bytes {
 public:
  Bytes(const std::uint8_t* data, std::size_t count) : data_(data), count_(count) {}

  std::uint8_t Next() {
    if (count_ == 0) return 0;
    --count_;
    return *data_++;
  }
  std::uint32_t NextWord() {
    std::uint32_t word = 0;
    for (int i = 0; i < 4; ++i) word = word << 8 | Next();
    return word;
  }
  bool IsEmpty() const { return count_ == 0; }

 private:
  const std::uint8_t* data_;
  std::size_t count_;
};

constexpr float kFloats[]{NAN, INFINITY, -INFINITY, 0.0f, -0.0f, 1e-45f, 1e-10f, 1.0f, -1.0f, 0.5f, 2.0f, 8000.0f,
                          1e20f, FLT_MAX, -FLT_MAX, FLT_MIN};
constexpr int kInts[]{INT_MIN, -1, 0, 1, 2, 3, 16, 46341, 65536, 65537, 1 << 24, 1 << 28, 1 << 30, INT_MAX};

// Mostly what succeeds or is small, sometimes a boundary, rarely anything.
Scalar ChooseScalar(const Scalar& usual, Bytes& bytes) {
  const std::uint8_t way = bytes.Next();
  const bool is_int = std::holds_alternative<int>(usual);
  if (way < 96) return usual;
  if (way < 176) {
    const int value = bytes.Next();
    return is_int ? Scalar{value} : Scalar{static_cast<float>(value) / 16.0f};
  }
  if (way < 240) {
    const std::size_t i = bytes.Next();
    return is_int ? Scalar{kInts[i % std::size(kInts)]} : Scalar{kFloats[i % std::size(kFloats)]};
  }
  return is_int ? Scalar{std::bit_cast<int>(bytes.NextWord())} : Scalar{std::bit_cast<float>(bytes.NextWord())};
}

// Samples, an eighth of them special. What no byte is left for stays noise.
void FillInputs(const Export& subject, const Extent& extent, const CallArrays& arrays, Bytes bytes) {
  for (std::size_t i = 0; i < subject.arrays.size(); ++i) {
    if (subject.arrays[i] != Role::input) continue;
    auto* const samples = static_cast<float*>(arrays.Pointers()[i]);
    const auto count = static_cast<std::size_t>(extent.lengths[i]);
    for (std::size_t n = 0; n < count && !bytes.IsEmpty(); ++n) {
      const std::uint8_t byte = bytes.Next();
      samples[n] = byte < 224 ? static_cast<float>(byte) / 112.0f - 1.0f : kFloats[byte % std::size(kFloats)];
    }
  }
}

[[noreturn]] void Fail(const Export& subject, const Scalars& scalars, const char* what) {
  std::fprintf(stderr, "%s: %s with", subject.name, what);
  for (const Scalar& scalar : scalars) {
    std::visit([](auto value) { std::fprintf(stderr, " %s", std::to_string(value).c_str()); }, scalar);
  }
  std::fprintf(stderr, "\n");
  std::abort();
}

void RunOne(Bytes bytes) {
  constexpr double kMostOperations = 3e5;
  constexpr std::size_t kMostBytes = std::size_t{1} << 26;
  static const std::vector<const Export*> exports = FindExports();
  static CallArrays arrays;

  const Export& subject = *exports[bytes.Next() % exports.size()];
  Scalars scalars = subject.settings[bytes.Next() % subject.settings.size()];
  for (Scalar& scalar : scalars) scalar = ChooseScalar(scalar, bytes);
  const std::uint8_t place = bytes.Next();
  const Placement placement{place % 2 == 0, static_cast<std::size_t>(place / 2 % 16)};
  const Extent extent = subject.extent(scalars);
  const double array_n = std::accumulate(extent.lengths.begin(), extent.lengths.end(), 0.0);
  if (extent.operations + array_n > kMostOperations) return;

  int first_status = 0;
  std::vector<std::uint32_t> first_bits;
  for (const Simd::Level level : Simd::SupportedLevels()) {
    const LevelOverride use(level);
    if (!arrays.Prepare(subject, scalars, placement)) return;
    FillInputs(subject, extent, arrays, bytes);  // from a copy: the same for every level
    int status;
    {
      const AllocationFailures failures(0, 0, kMostBytes);
      status = arrays.Call(scalars);
    }
    if (std::ranges::find(subject.statuses, status) == subject.statuses.end()) Fail(subject, scalars, "odd status");
    if (status != 0 && !arrays.AreOutputsIntact()) Fail(subject, scalars, "outputs touched");
    if (level == Simd::SupportedLevels().front()) {
      first_status = status;
      first_bits = arrays.OutputBits();
    } else if (status != first_status || arrays.OutputBits() != first_bits) {
      Fail(subject, scalars, "levels differ");
    }
  }
}

}  // namespace
}  // namespace kelvo::Reliability

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  kelvo::Reliability::RunOne({data, size});
  return 0;
}
