// Window functions.
#include "stft/window.h"

#include "base/buffers.h"
#include "math/functions.h"

namespace kelvo::Stft {
namespace {

// window[n] = offset - cos(2 pi n / win_n) * scale. The phase is formed in double and rounded once.
std::vector<float> BuildWindow(int win_n, float offset, float scale) {
  constexpr double kTwoPi = 6.283185307179586;
  std::vector<float> window = Base::MakeZeroBuffer(static_cast<std::size_t>(win_n));
  for (std::size_t n = 0; n < window.size(); ++n) {
    const auto phase = static_cast<float>(static_cast<double>(n) * kTwoPi / static_cast<double>(win_n));
    window[n] = offset - Math::Cos(phase) * scale;
  }
  return window;
}

}  // namespace

const Base::ForkGuard WindowCache::fork_guard_([]() -> Base::Mutex& { return Get().windows_.GetMutex(); });

WindowCache& WindowCache::Get() {
  static WindowCache cache;
  return cache;
}

const std::vector<float>& WindowCache::GetWindow(int win_n, int win_type) {
  if (win_type == static_cast<int>(WindowType::Hamming)) {
    return windows_.GetTable(kHammingMap, win_n, [](int count) { return BuildWindow(count, 0.54f, 0.46f); });
  }
  return windows_.GetTable(kHannMap, win_n, [](int count) { return BuildWindow(count, 0.5f, 0.5f); });
}

}  // namespace kelvo::Stft
