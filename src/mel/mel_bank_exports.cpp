// The filter-bank export.
#include <algorithm>

#include "api/export_frame.h"
#include "kelvo_audio.h"
#include "mel/mel_bank_checks.h"
#include "mel/mel_filter_bank.h"
#include "mel/mel_scale.h"

using namespace kelvo;

int kelvoAudioGetFBMatrix(float* dst, int freq_n, float f_min, float f_max, int mel_n, int sample_rate, int mel_norm,
                          int mel_formula) {
  return Api::RunExport({dst}, [&] {
    const bool htk = mel_formula == static_cast<int>(Mel::MelFormula::Htk);
    const Mel::MelFilterBankKey key{freq_n, f_min, f_max, mel_n, sample_rate, mel_norm, htk};
    Mel::CheckMelBank(key, mel_formula);
    std::ranges::copy(Mel::MelFilterBankCache::Get().GetFilterBank(key).weights, dst);
  });
}
