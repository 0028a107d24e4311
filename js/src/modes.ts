// The modes that settings take, by name, and the numbers of the C header.

/** Both windows are periodic: w[i] = a - b cos(2 pi i / n). */
export type Window = keyof typeof WINDOWS;
export const WINDOWS = { hann: 1, hamming: 2 } as const;

/**
 * What lies beyond the ends of the signal when frame t is centred on sample t * hopN: "reflect" mirrors fftN / 2 samples
 * about each end, the end itself not repeated; "zero" puts zeros there; with "none" frame t starts at sample t * hopN.
 */
export type Center = keyof typeof CENTERS;
export const CENTERS = { none: 0, reflect: 1, zero: 2 } as const;

/** A factor on every complex bin: "windowL2" is 1 / sqrt(sum of the squared window), "twoOverN" is 2 / fftN. */
export type Norm = keyof typeof NORMS;
export const NORMS = { none: 0, windowL2: 1, twoOverN: 2 } as const;

/** The height of a filter: "none" peaks at 1, "slaney" gives equal areas, 2 / (width of the band in Hz). */
export type MelNorm = keyof typeof MEL_NORMS;
export const MEL_NORMS = { none: 0, slaney: 1 } as const;

/** "slaney" is linear below 1000 Hz and logarithmic above, "htk" is 2595 log10(1 + f / 700). */
export type MelFormula = keyof typeof MEL_FORMULAS;
export const MEL_FORMULAS = { slaney: 0, htk: 1 } as const;

/** "angle": radians in -pi .. pi; "complex": (cos, sin) of the angle. */
export type Phase = keyof typeof PHASES;
export const PHASES = { angle: 0, complex: 1 } as const;

/**
 * How a signal x[0 .. n-1] goes on beyond its ends, d samples away: "odd" is 2 x[0] - x[d], "even" is x[d], "constant" is
 * x[0], and the same at the other end.
 */
export type Pad = keyof typeof PADS;
export const PADS = { none: 0, odd: 1, even: 2, constant: 3 } as const;
