// The arguments of the silence export.
#pragma once

namespace kelvo::Stft {

void CheckNonSilentPos(int sample_n, int win_n, int hop_n, float thr_db);

}  // namespace kelvo::Stft
