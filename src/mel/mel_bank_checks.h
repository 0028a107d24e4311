// The arguments of the filter-bank export.
#pragma once

#include "mel/mel_filter_bank.h"

namespace kelvo::Mel {

// The formula is checked as the caller gave it; a key holds no more than which of the two it is.
void CheckMelBank(const MelFilterBankKey& key, int mel_formula);

}  // namespace kelvo::Mel
