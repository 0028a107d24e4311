// The two mel scales: a pitch scale on which equal steps sound equally wide. Single precision throughout.
#pragma once

namespace kelvo::Mel {

enum class MelFormula { Slaney = 0, Htk = 1 };

// Linear below 1000 Hz, logarithmic from there on [Slaney 1998]. A NaN goes through the logarithm.
float HzToMelSlaney(float hz);
float MelToHzSlaney(float mel);

// 2595 log10(1 + hz / 700) [O'Shaughnessy 1987]
float HzToMelHtk(float hz);
float MelToHzHtk(float mel);

}  // namespace kelvo::Mel
