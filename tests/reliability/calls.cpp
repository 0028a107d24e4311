// The table of exports.
#include "reliability/calls.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <map>
#include <numeric>
#include <string_view>
#include <tuple>
#include <type_traits>

#include "kelvo_audio.h"
#include "support/bits.h"
#include "support/signals.h"

namespace kelvo::Reliability {
namespace {

// The next scalar or array, as a parameter of type P.
template <class P>
P Take(std::span<void* const> arrays, const Scalars& scalars, std::size_t& array, std::size_t& scalar) {
  if constexpr (std::is_pointer_v<P>) {
    return static_cast<P>(arrays[array++]);
  } else {
    return std::get<P>(scalars[scalar++]);
  }
}

template <class Tuple>
struct TakeAll;
template <class... P>
struct TakeAll<std::tuple<P...>> {
  static std::tuple<P...> From(std::span<void* const> arrays, const Scalars& scalars) {
    [[maybe_unused]] std::size_t array = 0;
    [[maybe_unused]] std::size_t scalar = 0;
    return std::tuple<P...>{Take<P>(arrays, scalars, array, scalar)...};  // braces keep the order
  }
};

template <class P>
using ScalarOnly = std::conditional_t<std::is_pointer_v<P>, std::tuple<>, std::tuple<P>>;

// Measure gives the extent from the export's scalars, in their order.
template <class Measure, class... P>
Export Describe(const char* name, int (*function)(P...), Measure, std::vector<Scalars> settings,
                std::vector<int> key_step, std::vector<int> statuses) {
  using ScalarTuple = decltype(std::tuple_cat(ScalarOnly<P>{}...));
  Export result{};
  result.name = name;
  const auto add_role = [&]<class Q>(std::type_identity<Q>) {
    if constexpr (std::is_pointer_v<Q>) {
      result.arrays.push_back(std::is_const_v<std::remove_pointer_t<Q>> ? Role::input : Role::output);
    }
  };
  (add_role(std::type_identity<P>{}), ...);
  result.settings = std::move(settings);
  result.key_step = std::move(key_step);
  result.statuses = std::move(statuses);
  result.extent = [](const Scalars& scalars) { return std::apply(Measure{}, TakeAll<ScalarTuple>::From({}, scalars)); };
  result.call = [function](std::span<void* const> arrays, const Scalars& scalars) {
    return std::apply(function, TakeAll<std::tuple<P...>>::From(arrays, scalars));
  };
  return result;
}

// A count as a length: no elements for an invalid one.
double Length(double count) { return std::max(count, 0.0); }

// A transform and its table, by the prime factors. However large one is, its transform takes no more than so much.
double FftOperations(double count) {
  constexpr double kLargePrime = 256.0;
  if (count < 1.0) return 1.0;
  auto rest = static_cast<std::int64_t>(count);
  double sum = 4.0;
  for (std::int64_t p = 2; p * p <= rest; ++p) {
    for (; rest % p == 0; rest /= p) sum += static_cast<double>(p);
  }
  return count * (sum + std::min(static_cast<double>(rest), kLargePrime));
}

double Frames(int sample_n, int hop_n, int max_frame_n) {
  const double all = hop_n > 0 ? 2.0 + Length(sample_n) / hop_n : Length(max_frame_n);
  return std::min(all, Length(max_frame_n));
}

const std::vector<int> kOkOrBad{0, -1};
const std::vector<int> kNoMemory{0, -1, -5};
const std::vector<int> kAll{0, -1, -5, -128};

constexpr auto kElementwise = [](int n) { return Extent{{Length(n), Length(n)}, Length(n)}; };

using SettingsByExport = std::map<std::string_view, std::vector<Scalars>>;

const SettingsByExport& LiveSettings() {
  static const SettingsByExport settings{
      {"Log1p", {{1024}}},
      {"Standardize", {{1024}}},
      {"FFT", {{2048}, {16}, {400}, {2046}, {1023}}},
      {"IFFT", {{2048}, {16}, {1920}, {1023}}},
      {"GetWindow", {{2048, 1}, {400, 2}}},
      {"GetFrameLen", {{1000, 400, 160, 1}}},
      {"GetSampleLen", {{7, 201, 160, 0}}},
      {"FixFrameLen", {{1025, 2, 1, 0.0f}}},
      {"GetSpectrogram",
       {{2048, 2048, 512, 2048, 1, 1, 0, 0.0f, 1},
        {2048, 2048, 512, 1201, 2, 1, 1, 0.7f, 2},
        {2046, 2046, 512, 2000, 2, 1, 2, 2.0f, 2},
        {400, 400, 160, 400, 1, 1, 0, 2.0f, 0},
        {1023, 1023, 160, 1000, 1, 1, 1, 0.0f, 0}}},
      {"GetInverseSpectrogram",
       {{1, 1025, 512, 2048, 1, 2048, 0, 0},
        {1, 1024, 512, 1201, 2, 2046, 1, 1},
        {1, 201, 160, 400, 1, 400, 0, 2},
        {1, 3, 1, 4, 1, 4, 1, 0}}},
      {"GetNonSilentPos", {{1024, 400, 160, 30.0f}, {1024, 1024, 1, 30.0f}, {1024, 64, 1, 30.0f}}},
      {"GetFBMatrix", {{1025, 0.0f, 8000.0f, 128, 16000, 1, 0}, {201, 0.0f, 8000.0f, 80, 16000, 1, 1}}},
      {"GetMelSpectrogram",
       {{2048, 16000, 2048, 512, 2048, 1, 1, 0, 2.0f, 0, 0.0f, 8000.0f, 128, 1, 0},
        {400, 16000, 400, 160, 400, 1, 1, 0, 2.0f, 0, 0.0f, 8000.0f, 80, 1, 0},
        {2046, 16000, 2046, 512, 1201, 2, 1, 1, 0.7f, 1, 0.0f, 8000.0f, 128, 1, 1},
        {64, 16000, 64, 16, 64, 1, 1, 2, 1.0f, 2, 0.0f, 8000.0f, 20, 0, 0}}},
      {"ConvertToMel", {{1025, 1, 128}, {201, 5, 80}}},
      {"ConvertPowerToDB", {{1024, 80.0f}}},
      {"ComplexNorm", {{1024, 0.7f}}},
      {"MagPhase", {{1025, 1, 0.7f, 1}, {1025, 1, 1.0f, 0}}},
      {"LinerFilter",
       {{1024, 1024, 3, 3, 2}, {1024, 1024, 256, 1, 255}, {1024, 1024, 512, 512, 511}, {4096, 4096, 3, 3, 2}}},
      {"GetLinerFilterZiCoef", {{511, 512, 512}}},
      {"FilterFilter", {{1024, 1024, 3, 3, 1, 9}, {1024, 1024, 64, 1, 2, 192}, {1024, 1024, 33, 33, 3, 99}}},
      {"Resample",
       {{16, 342, 48, 1024},
        {160, 372, 441, 1024},
        {441, 2823, 160, 1024},
        {147, 941, 160, 1024},
        {48, 3072, 16, 1024},
        {2, 2048, 1, 1024},
        {6, 6144, 1, 1024},
        {1, 1024, 1, 1024},
        {1, 100, 1, 100}}},
      {"GetResampleLen", {{44100, 1000, 48000}}},
  };
  return settings;
}

const SettingsByExport& LargeSettings() {
  static const SettingsByExport settings{
      {"FFT", {{8192}}},
      {"IFFT", {{8192}}},
      {"GetSpectrogram", {{9000, 2048, 512, 1500, 1, 20, 1, 0.0f, 1}}},
      {"GetInverseSpectrogram", {{10, 1025, 512, 1500, 1, 6000, 1, 1}, {1, 8193, 160, 300, 1, 16384, 1, 1}}},
      {"GetNonSilentPos", {{12000, 40, 1, 30.0f}}},
      {"GetMelSpectrogram", {{9000, 16000, 2048, 512, 1500, 1, 20, 2, 2.0f, 1, 0.0f, 8000.0f, 80, 1, 0}}},
      {"LinerFilter", {{9000, 9000, 2000, 1, 1999}, {9000, 9000, 2000, 2000, 1999}}},
      {"GetLinerFilterZiCoef", {{3000, 3000, 3000}}},
      {"FilterFilter", {{9000, 9000, 2000, 2, 1, 900}}},
      {"Resample", {{3, 30000, 2, 20000}}},
  };
  return settings;
}

std::vector<Export> DescribeAll() {
  std::vector<Export> exports{
      Describe("Log1p", kelvoAudioLog1p, kElementwise, {{100}, {17}}, {}, kOkOrBad),
      Describe("Standardize", kelvoAudioStandardize, kElementwise, {{100}, {17}}, {}, kOkOrBad),
      Describe(
          "FFT", kelvoAudioFFT,
          [](int n) {
            return Extent{{2 * Length(n), Length(n)}, FftOperations(n)};
          },
          {{64}, {63}, {331}}, {8}, kAll),
      Describe(
          "IFFT", kelvoAudioIFFT,
          [](int n) {
            return Extent{{2 * Length(n), 2 * Length(n)}, FftOperations(n)};
          },
          {{64}, {63}, {331}}, {8}, kAll),
      Describe(
          "GetWindow", kelvoAudioGetWindow,
          [](int n, int) {
            return Extent{{Length(n)}, Length(n)};
          },
          {{64, 1}, {31, 2}}, {8, 0}, kNoMemory),
      Describe(
          "GetFrameLen", kelvoAudioGetFrameLen,
          [](int, int, int, int) {
            return Extent{{1.0}, 1.0};
          },
          {{1000, 400, 160, 1}, {13107199, 512, 200, 2}, {13107711, 512, 200, 0}}, {}, kOkOrBad),
      Describe(
          "GetSampleLen", kelvoAudioGetSampleLen,
          [](int, int, int, int) {
            return Extent{{1.0}, 1.0};
          },
          {{7, 201, 160, 0}, {65537, 2, 65536, 0}}, {}, kOkOrBad),
      Describe(
          "FixFrameLen", kelvoAudioFixFrameLen,
          [](int freq_n, int dst_n, int src_n, float) {
            const double rows = Length(freq_n);
            return Extent{{rows * Length(dst_n), rows * Length(src_n)}, rows * (Length(dst_n) + Length(src_n))};
          },
          {{5, 7, 4, 2.5f}, {3, 4, 9, 0.0f}}, {}, kOkOrBad),
      Describe(
          "GetSpectrogram", kelvoAudioGetSpectrogram,
          [](int sample_n, int fft_n, int hop_n, int win_n, int, int max_frame_n, int, float, int) {
            const double columns = Length(max_frame_n);
            return Extent{{2.0 * (Length(fft_n) / 2 + 1) * columns, Length(sample_n)},
                          Length(win_n) + (1.0 + Frames(sample_n, hop_n, max_frame_n)) * FftOperations(fft_n)};
          },
          {{600, 68, 16, 60, 1, 40, 1, 0.0f, 1},
           {600, 63, 5, 63, 2, 90, 2, 2.0f, 2},
           {300, 64, 100, 10, 1, 4, 0, 1.0f, 0},
           {1500, 254, 60, 254, 1, 20, 1, 0.0f, 0}},
          {8, 8, 0, 8, 0, 0, 0, 0, 0}, kAll),
      Describe(
          "GetInverseSpectrogram", kelvoAudioGetInverseSpectrogram,
          [](int frame_n, int freq_n, int hop_n, int win_n, int, int max_sample_n, int, int) {
            const double fft_n = 2.0 * freq_n - 2.0;
            const double whole_n = Length(fft_n + (frame_n - 1.0) * Length(hop_n));
            return Extent{{std::min(whole_n, Length(max_sample_n)), 2.0 * Length(freq_n) * Length(frame_n)},
                          Length(win_n) + whole_n + (1.0 + Length(frame_n)) * FftOperations(fft_n)};
          },
          {{40, 36, 16, 70, 1, 700, 1, 1},
           {30, 33, 5, 64, 2, 209, 0, 2},
           {5, 20, 50, 7, 1, 1000, 2, 0},
           {1, 3, 1, 4, 1, 4, 1, 0},
           {20, 128, 60, 250, 2, 1200, 1, 0}},
          {0, 4, 0, 8, 0, 8, 0, 0}, kAll),
      Describe(
          "GetNonSilentPos", kelvoAudioGetNonSilentPos,
          [](int sample_n, int win_n, int hop_n, float) {
            const double frames = hop_n > 0 ? 1.0 + Length(sample_n) / hop_n : 1.0;
            return Extent{{1.0, 1.0, Length(sample_n)}, sample_n < win_n ? 1.0 : frames * Length(win_n)};
          },
          {{600, 40, 16, 30.0f}, {300, 7, 3, 1.0f}}, {}, kNoMemory),
      Describe(
          "GetFBMatrix", kelvoAudioGetFBMatrix,
          [](int freq_n, float, float, int mel_n, int, int, int) {
            const double weights = Length(mel_n) * Length(freq_n);
            return Extent{{weights}, weights};
          },
          {{33, 0.0f, 8000.0f, 5, 16000, 1, 1},
           {65, 20.0f, 4000.0f, 9, 8000, 0, 0},
           {12, 50.0f, 950.0f, 4, 2100, 1, 0}},
          {1, 0, 0, 0, 0, 0, 0}, kNoMemory),
      Describe(
          "GetMelSpectrogram", kelvoAudioGetMelSpectrogram,
          [](int sample_n, int, int fft_n, int hop_n, int win_n, int, int max_frame_n, int, float, int, float, float,
             int mel_n, int, int) {
            const double frames = Frames(sample_n, hop_n, max_frame_n);
            return Extent{{Length(mel_n) * frames, Length(sample_n)},
                          Length(win_n) + (1.0 + frames) * (FftOperations(fft_n) + Length(mel_n) * Length(fft_n))};
          },
          {{600, 16000, 66, 16, 58, 1, 40, 2, 2.0f, 1, 0.0f, 8000.0f, 8, 1, 0},
           {300, 8000, 63, 100, 63, 2, 4, 1, 0.0f, 2, 100.0f, 3000.0f, 5, 0, 1},
           {1500, 8000, 331, 60, 331, 1, 20, 1, 2.0f, 0, 0.0f, 4000.0f, 8, 1, 0}},
          {8, 0, 8, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, kAll),
      Describe(
          "ConvertToMel", kelvoAudioConvertToMel,
          [](int freq_n, int frame_n, int mel_n) {
            const double bins = Length(freq_n), frames = Length(frame_n), bands = Length(mel_n);
            return Extent{{bands * frames, bins * frames, bands * bins}, bands * bins * (1.0 + frames)};
          },
          {{33, 20, 8}, {9, 3, 7}}, {}, kNoMemory),
      Describe(
          "ConvertPowerToDB", kelvoAudioConvertPowerToDB,
          [](int n, float) {
            return Extent{{Length(n), Length(n)}, Length(n)};
          },
          {{100, 80.0f}, {17, -1.0f}}, {}, kOkOrBad),
      Describe(
          "ComplexNorm", kelvoAudioComplexNorm,
          [](int n, float) {
            return Extent{{Length(n), 2 * Length(n)}, Length(n)};
          },
          {{100, 0.7f}, {17, 1.0f}, {17, 2.0f}}, {}, kOkOrBad),
      Describe(
          "MagPhase", kelvoAudioMagPhase,
          [](int freq_n, int frame_n, float, int phase_form) {
            const double bins = Length(freq_n) * Length(frame_n);
            return Extent{{bins, phase_form == 1 ? 2 * bins : bins, 2 * bins}, bins};
          },
          {{9, 11, 1.0f, 1}, {4, 4, 2.0f, 0}, {5, 7, 0.0f, 0}}, {}, kOkOrBad),
      Describe(
          "LinerFilter", kelvoAudioLinerFilter,
          [](int dst_n, int src_n, int n_coef_n, int d_coef_n, int zi_n) {
            const double order = Length(n_coef_n) + Length(d_coef_n);
            return Extent{{Length(dst_n), Length(src_n), Length(n_coef_n), Length(d_coef_n), Length(zi_n)},
                          order + std::min(Length(dst_n), Length(src_n)) * order};
          },
          {{100, 100, 3, 4, 3}, {20, 50, 6, 1, 2}, {50, 20, 1, 3, -1}, {9000, 9000, 2, 2, 1}}, {}, kNoMemory),
      Describe(
          "GetLinerFilterZiCoef", kelvoAudioGetLinerFilterZiCoef,
          [](int dst_n, int n_coef_n, int d_coef_n) {
            return Extent{{Length(dst_n), Length(n_coef_n), Length(d_coef_n)},
                          Length(dst_n) + Length(n_coef_n) + Length(d_coef_n)};
          },
          {{3, 3, 4}, {9, 5, 1}}, {}, kNoMemory),
      Describe(
          "FilterFilter", kelvoAudioFilterFilter,
          [](int dst_n, int src_n, int n_coef_n, int d_coef_n, int, int pad_len) {
            const double order = Length(n_coef_n) + Length(d_coef_n);
            return Extent{{Length(dst_n), Length(src_n), Length(n_coef_n), Length(d_coef_n)},
                          order + (Length(src_n) + 2.0 * Length(pad_len)) * order};
          },
          {{100, 100, 3, 4, 1, 12},
           {150, 60, 5, 1, 2, 59},
           {20, 20, 1, 3, 3, 40},
           {30, 30, 2, 2, 0, 0},
           {9000, 9000, 2, 2, 1, 9}},
          {}, kAll),
      Describe(
          "Resample", kelvoAudioResample,
          [](int dst_rate, int dst_n, int src_rate, int src_n) {
            const double taps = 65.0 * Length(dst_rate) / std::gcd(std::max(dst_rate, 1), std::max(src_rate, 1));
            return Extent{{Length(dst_n), Length(src_n)}, taps + 65.0 * Length(dst_n)};
          },
          {{160, 80, 441, 200}, {3, 400, 2, 200}, {1, 60, 1, 60}, {2, 30, 7, 90}}, {1, 0, 0, 0}, kNoMemory),
      Describe(
          "GetResampleLen", kelvoAudioGetResampleLen,
          [](int, int, int) {
            return Extent{{1.0}, 1.0};
          },
          {{44100, 1000, 48000}, {2147483647, 3, 1}}, {}, kOkOrBad),
  };
  for (Export& subject : exports) {
    const std::string_view name = subject.name;
    // The state of a filter is the one array that may be absent.
    if (name == "LinerFilter") subject.arrays.back() = Role::optional_state;
    if (const auto found = LiveSettings().find(name); found != LiveSettings().end()) subject.live = found->second;
    if (const auto found = LargeSettings().find(name); found != LargeSettings().end()) subject.large = found->second;
  }
  return exports;
}

constexpr std::uint32_t kSentinel = 0xA5C3A5C3u;
constexpr std::size_t kNoisePeriod = 1 << 16;

const std::vector<float>& Pattern(Content content) {
  static const std::vector<float> noise = Support::Noise(kNoisePeriod);
  static const std::vector<float> sentinels(kNoisePeriod, std::bit_cast<float>(kSentinel));
  static const std::vector<float> tiny = [] {
    std::vector<float> scaled = noise;
    for (float& value : scaled) value *= 0x1p-127f;
    return scaled;
  }();
  static const std::vector<float> mixed = [] {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    constexpr float kSpecial[]{-0.0f, 0x1p-149f, 0.0f, 0x1.fffffep127f, kInfinity, -0.0f, -kInfinity, NAN};
    constexpr std::size_t kStep = 19;
    std::vector<float> values = noise;
    for (std::size_t i = 4; i < values.size(); i += kStep) values[i] = kSpecial[i / kStep % std::size(kSpecial)];
    return values;
  }();
  switch (content) {
    case Content::noise: return noise;
    case Content::tiny_noise: return tiny;
    case Content::mixed_noise: return mixed;
    case Content::sentinels: break;
  }
  return sentinels;
}

void Fill(float* first, std::size_t count, Content content) {
  for (std::size_t i = 0; i < count; i += kNoisePeriod) {
    std::memcpy(first + i, Pattern(content).data(), sizeof(float) * std::min(kNoisePeriod, count - i));
  }
}

bool Holds(const float* first, std::size_t count, Content content) {
  for (std::size_t i = 0; i < count; i += kNoisePeriod) {
    if (std::memcmp(first + i, Pattern(content).data(), sizeof(float) * std::min(kNoisePeriod, count - i)) != 0) {
      return false;
    }
  }
  return true;
}

}  // namespace

Scalars Export::FreshSettings(int index) const {
  Scalars scalars = settings.front();
  for (std::size_t i = 0; i < key_step.size(); ++i) {
    if (key_step[i] != 0) scalars[i] = std::get<int>(scalars[i]) + index * key_step[i];
  }
  return scalars;
}

std::span<const Export> Exports() {
  static const std::vector<Export> exports = DescribeAll();
  return exports;
}

const Export& FindExport(std::string_view name) {
  const std::span<const Export> exports = Exports();
  return *std::find_if(exports.begin(), exports.end(), [&](const Export& subject) { return subject.name == name; });
}

std::string NameOf(const testing::TestParamInfo<Export>& info) { return info.param.name; }
void PrintTo(const Export& subject, std::ostream* out) { *out << subject.name; }

std::string TextOf(const Scalars& scalars) {
  std::string text;
  for (const Scalar& scalar : scalars) {
    std::visit([&](auto value) { text += std::to_string(value) + " "; }, scalar);
  }
  return text;
}

bool CallArrays::Prepare(const Export& subject, const Scalars& scalars, Placement placement) {
  subject_ = &subject;
  arrays_.clear();
  pointers_.clear();
  const Extent extent = subject.extent(scalars);
  for (const double length : extent.lengths) {
    if (length > kMaxLength) return false;
  }
  for (std::size_t i = 0; i < subject.arrays.size(); ++i) {
    const auto length = static_cast<std::size_t>(extent.lengths[i]);
    if (i == memory_.size()) {
      memory_.push_back(std::make_unique<Support::GuardedBuffer>(static_cast<std::size_t>(kMaxLength) + 64));
    }
    const bool is_input = subject.arrays[i] == Role::input;
    const std::size_t room = length + placement.offset;
    float* const begin = placement.at_end ? memory_[i]->AtEnd(room) : memory_[i]->AtStart();
    float* const first = placement.at_end ? begin : begin + placement.offset;
    const Content content = is_input ? placement.inputs : Content::sentinels;
    arrays_.push_back({subject.arrays[i], length, first, placement.offset, placement.at_end, content});
    pointers_.push_back(first);
    Fill(first, length, content);
    Fill(Gap(arrays_.back()), placement.offset, Content::sentinels);
  }
  return true;
}

int CallArrays::CheckedCall(const Scalars& scalars) const {
  const int status = Call(scalars);
  EXPECT_TRUE(subject_->Documents(status) && AreInputsIntact() && (status == 0 || AreOutputsIntact()))
      << "status " << status << " with " << TextOf(scalars);
  return status;
}

bool CallArrays::AreInputsIntact() const {
  return std::all_of(arrays_.begin(), arrays_.end(), [&](const Array& array) {
    return Holds(Gap(array), array.offset, Content::sentinels) &&
           (array.role != Role::input || Holds(array.first, array.length, array.content));
  });
}

bool CallArrays::AreOutputsIntact() const {
  return std::all_of(arrays_.begin(), arrays_.end(), [](const Array& array) {
    return array.role == Role::input || Holds(array.first, array.length, Content::sentinels);
  });
}

std::vector<std::uint32_t> CallArrays::OutputBits() const {
  std::vector<std::uint32_t> bits;
  for (const Array& array : arrays_) {
    if (array.role == Role::input) continue;
    bits.reserve(bits.size() + array.length);
    for (std::size_t i = 0; i < array.length; ++i) bits.push_back(Support::Bits(array.first[i]));
  }
  return bits;
}

}  // namespace kelvo::Reliability
