// The arguments of the window export.
#pragma once

namespace kelvo::Stft {

void CheckWindow(int window_n, int win_type);

}  // namespace kelvo::Stft
