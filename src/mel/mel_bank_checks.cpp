// The checks of the filter-bank export, in their order.
#include "mel/mel_bank_checks.h"

#include "api/checks.h"

namespace kelvo::Mel {

void CheckMelBank(const MelFilterBankKey& key, int mel_formula) {
  Api::CheckFrequencyValue(key.freq_n);
  Api::CheckBand(key.f_min, key.f_max);
  Api::CheckMelSize(key.mel_n);
  Api::CheckMelBelowBins(key.mel_n, key.freq_n);
  Api::CheckSampleRate(key.sample_rate);
  Api::CheckMelNorm(key.mel_norm);
  Api::CheckMelFormula(mel_formula);
}

}  // namespace kelvo::Mel
