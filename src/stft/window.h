// Window functions, and the cache that keeps them.
#pragma once

#include <cstddef>
#include <vector>

#include "base/mutex.h"
#include "base/table_cache.h"

namespace kelvo::Stft {

// Both are periodic, as overlap-add needs: the divisor is the window's length, not its length minus one.
enum class WindowType { Hann = 1, Hamming = 2 };

// Each window is built once per process, and found and read without a lock from then on.
class WindowCache {
 public:
  static WindowCache& Get();

  // win_n >= 1; win_type 2 is Hamming, every other value Hann.
  const std::vector<float>& GetWindow(int win_n, int win_type);

 private:
  static constexpr std::size_t kHannMap = 0;
  static constexpr std::size_t kHammingMap = 1;

  static const Base::ForkGuard fork_guard_;

  Base::TableCache<int, std::vector<float>, 2> windows_;
};

}  // namespace kelvo::Stft
