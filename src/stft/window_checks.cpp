// The checks of the window export, in their order.
#include "stft/window_checks.h"

#include "api/checks.h"

namespace kelvo::Stft {

void CheckWindow(int window_n, int win_type) {
  Api::CheckWindowSize(window_n);
  Api::CheckWindowType(win_type);
}

}  // namespace kelvo::Stft
