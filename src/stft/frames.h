// Frame arithmetic: how many frames a signal yields, how many samples frames yield, and how one frame is cut out.
#pragma once

#include <cstdint>
#include <span>

#include "base/buffers.h"

namespace kelvo::Stft {

// What lies beyond the ends of the signal. With padding, frame t is centred on sample t * hop_n.
enum class CenterMode {
  None = 0,     // no padding; frame t starts at sample t * hop_n
  Reflect = 1,  // mirrored about the end samples, which are not repeated
  Zero = 2,
};

// Frames of fft_n samples every hop_n samples; 0 if sample_n < fft_n, in every mode. Formed in single precision: from
// 11 million samples on it may be one frame more or less than the signal covers. hop_n 0 saturates.
int ComputeFrameCount(int sample_n, int fft_n, int hop_n, int center);

// Samples that frame_n overlapping frames of 2 * (freq_n - 1) samples span, without the padding if centred. Wraps
// around beyond 32 bits.
int ComputeSampleCount(int frame_n, int freq_n, int hop_n, int center);

// Fills frame with the samples from position `start` on of the signal padded by `pad` samples in front, as the mode
// pads it. The last frame of mode None may reach beyond the end, where the frame count was rounded up; it finds zeros
// there.
void ExtractFrame(CenterMode center, std::span<float> frame, std::span<const float> src, std::int64_t start,
                  std::int64_t pad);

// Copies the columns that dst [freq_n x dst_frame_n] and src [freq_n x src_frame_n] share; further columns of dst
// become pad_value.
void FixFrameLen(Base::MatrixView<float> dst, Base::MatrixView<const float> src, float pad_value);

}  // namespace kelvo::Stft
