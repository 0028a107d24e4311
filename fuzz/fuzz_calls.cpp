// One byte of an input selects the export, one its settings, a few each scalar; the others fill the input arrays.
#include "fuzz_calls.h"

#include <algorithm>
#include <bit>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <numeric>
#include <string>

#include "reliability/failing_new.h"
#include "reliability/level_override.h"

namespace kelvo::Fuzz {
namespace {

using namespace Reliability;

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

// One of the exports of a subsystem.
const Export& ChooseExport(std::string_view subsystem, std::size_t choice) {
  static const std::map<std::string_view, std::vector<const Export*>> exports = [] {
    std::map<std::string_view, std::vector<const Export*>> found;
    for (const auto& [name, members] : kSubsystems) {
      for (const auto& member : members) found[name].push_back(&FindExport(member));
    }
    return found;
  }();
  const auto& members = exports.at(subsystem);
  return *members[choice % members.size()];
}

// The bytes of a fuzzer's input in order, zeros after the last one.
class Bytes {
 public:
  explicit Bytes(std::span<const std::uint8_t> rest) : rest_(rest) {}

  std::uint8_t Next() {
    if (rest_.empty()) return 0;
    const std::uint8_t byte = rest_.front();
    rest_ = rest_.subspan(1);
    return byte;
  }
  std::uint32_t NextWord() {
    std::uint32_t word = 0;
    for (int i = 0; i < 4; ++i) word = word << 8 | Next();
    return word;
  }
  bool IsEmpty() const { return rest_.empty(); }

 private:
  std::span<const std::uint8_t> rest_;
};

constexpr float kFloats[]{NAN,   INFINITY, -INFINITY, 0.0f,    -0.0f, 1e-45f,  1e-10f,   1.0f,
                          -1.0f, 0.5f,     2.0f,      8000.0f, 1e20f, FLT_MAX, -FLT_MAX, FLT_MIN};
constexpr int kInts[]{INT_MIN,  -1,       0,        1,         2,          3,      16,    63,
                      64,       512,      46340,    46341,     46349,      65535,  65536, 65537,
                      16777215, 16777216, 16777217, 268435456, 1073741824, INT_MAX};

// Mostly the usual value or a small one, sometimes a boundary value, rarely an arbitrary one.
Scalar ChooseScalar(const Scalar& usual, Bytes& bytes) {
  constexpr int kUsual = 96, kMode = 128, kSmall = 192, kBoundary = 240;  // each the end of a range of bytes
  const int way = bytes.Next();
  const bool is_int = std::holds_alternative<int>(usual);
  if (way < kUsual) return usual;
  if (way < kMode) return is_int ? Scalar{way % 5 - 1} : Scalar{static_cast<float>(way % 5 - 1)};
  if (way < kSmall) {
    const int value = bytes.Next();
    return is_int ? Scalar{value} : Scalar{static_cast<float>(value) / 16.0f};
  }
  if (way < kBoundary) {
    const std::size_t i = bytes.Next();
    return is_int ? Scalar{kInts[i % std::size(kInts)]} : Scalar{kFloats[i % std::size(kFloats)]};
  }
  // Words of every bit length, so that medium sizes occur as well.
  const std::uint32_t word = bytes.NextWord();
  return is_int ? Scalar{static_cast<int>(word >> way % 32)} : Scalar{std::bit_cast<float>(word)};
}

Scalars ChooseScalars(const Export& subject, Bytes& bytes) {
  Scalars scalars = subject.settings[bytes.Next() % subject.settings.size()];
  for (Scalar& scalar : scalars) scalar = ChooseScalar(scalar, bytes);
  return scalars;
}

// Samples, an eighth of them special values. Those beyond the last byte stay noise.
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

// MagPhase raises each value to a power, which takes a microsecond where sanitizers watch and the power is unusual.
double WeightOf(const Export& subject) { return subject.name == std::string_view{"MagPhase"} ? 100.0 : 1.0; }

[[noreturn]] void Fail(const Export& subject, const Scalars& scalars, const char* what) {
  std::fprintf(stderr, "%s: %s with", subject.name, what);
  for (const Scalar& scalar : scalars) {
    std::visit([](auto value) { std::fprintf(stderr, " %s", std::to_string(value).c_str()); }, scalar);
  }
  std::fprintf(stderr, "\n");
  std::abort();
}

}  // namespace

std::vector<std::string_view> SubsystemNames() {
  std::vector<std::string_view> names;
  for (const Subsystem& subsystem : kSubsystems) names.push_back(subsystem.name);
  return names;
}

Scalars ChooseScalars(const Export& subject, std::span<const std::uint8_t> bytes) {
  Bytes all(bytes);
  return ChooseScalars(subject, all);
}

void RunInput(std::string_view subsystem, std::span<const std::uint8_t> input, double max_operations) {
  constexpr std::size_t kMaxBytes = std::size_t{1} << 26;
  static CallArrays arrays;

  Bytes bytes(input);
  const Export& subject = ChooseExport(subsystem, bytes.Next());
  const Scalars scalars = ChooseScalars(subject, bytes);
  const std::uint8_t place = bytes.Next();
  const Placement placement{place % 2 == 0, static_cast<std::size_t>(place / 2 % 16)};
  const Extent extent = subject.extent(scalars);
  const double array_n = std::accumulate(extent.lengths.begin(), extent.lengths.end(), 0.0);
  if (WeightOf(subject) * extent.operations + array_n > max_operations) return;

  int first_status = 0;
  std::vector<std::uint32_t> first_bits;
  for (const Simd::Level level : Simd::SupportedLevels()) {
    const LevelOverride use(level);
    if (!arrays.Prepare(subject, scalars, placement)) return;
    FillInputs(subject, extent, arrays, bytes);  // takes a copy of bytes: the same inputs at every level
    int status;
    {
      const AllocationFailures failures(0, 0, kMaxBytes);
      status = arrays.Call(scalars);
    }
    if (!subject.Documents(status)) Fail(subject, scalars, "undocumented status");
    if (status != 0 && !arrays.AreOutputsIntact()) Fail(subject, scalars, "outputs touched");
    if (level == Simd::SupportedLevels().front()) {
      first_status = status;
      first_bits = arrays.OutputBits();
    } else if (status != first_status || arrays.OutputBits() != first_bits) {
      Fail(subject, scalars, "levels differ");
    }
  }
}

}  // namespace kelvo::Fuzz
