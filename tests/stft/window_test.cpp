// Window values, the cache that keeps them, and the export.
#include "stft/window.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "kelvo_audio.h"
#include "stft/checks.h"
#include "support/bits.h"
#include "support/messages.h"

namespace kelvo::Stft {
namespace {

using namespace Support;

TEST(Window, EqualsTheFormulaInDouble) {
  // Half an ulp of a phase below 2 pi, halved by the slope of the window, and two roundings of values up to 1.
  const double tolerance = 0.5 * 0x1p-22 + 2.0 * 0x1p-25 + 0x1p-26;
  for (const int win_n : {1, 2, 3, 4, 5, 7, 16, 400, 441, 1024, 100003}) {
    for (const int win_type : {1, 2}) {
      const double scale = win_type == 2 ? 0.46 : 0.5;
      const std::vector<float>& window = WindowCache::Get().GetWindow(win_n, win_type);
      ASSERT_EQ(window.size(), static_cast<std::size_t>(win_n));
      for (std::size_t n = 0; n < window.size(); ++n) {
        const double phase = 2.0 * std::numbers::pi * static_cast<double>(n) / static_cast<double>(win_n);
        ASSERT_NEAR(static_cast<double>(window[n]), 1.0 - scale - scale * std::cos(phase), tolerance)
            << win_n << " " << win_type << " " << n;
      }
    }
  }
}

TEST(Window, HasKnownBits) {
  EXPECT_TRUE(SameBits(WindowCache::Get().GetWindow(1, 1), std::vector{0.0f}));
  EXPECT_TRUE(SameBits(WindowCache::Get().GetWindow(1, 2), std::vector{0.54f - 0.46f}));
  EXPECT_EQ(WindowCache::Get().GetWindow(4, 1)[2], 1.0f);
  // The phase lies so near to the middle of two floats that the last bit of 2 pi decides.
  EXPECT_EQ(WindowCache::Get().GetWindow(113432, 1)[105605], 0x1.7af66p-5f);
  EXPECT_EQ(WindowCache::Get().GetWindow(113432, 2)[105605], 0x1.f600b8p-4f);
}

TEST(WindowExport, ChecksInOrderThenCopies) {
  EXPECT_EQ(MessageOf([] { CheckWindow(0, 0); }), "Invalid window_n size.");
  EXPECT_EQ(MessageOf([] { CheckWindow(1, 3); }), "Invalid win_type format.");
  std::vector<float> dst(5);
  EXPECT_EQ(kelvoAudioGetWindow(dst.data(), 5, KELVO_AUDIO_WINDOW_HAMMING), KELVO_AUDIO_STATUS_OK);
  EXPECT_TRUE(SameBits(dst, WindowCache::Get().GetWindow(5, 2)));
}

}  // namespace
}  // namespace kelvo::Stft
