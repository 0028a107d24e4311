// The checks of the silence export, in their order.
#include "stft/silence_checks.h"

#include "api/checks.h"

namespace kelvo::Stft {

void CheckNonSilentPos(int sample_n, int win_n, int hop_n, float thr_db) {
  Api::CheckSampleSize(sample_n);
  Api::CheckWindowValue(win_n < 1);
  Api::CheckHop(hop_n);
  Api::CheckThreshold(thr_db);
}

}  // namespace kelvo::Stft
