// One transform in lanes, for kernel files.
//
// Its first passes work on vectors of adjacent elements, until blocks become shorter than a vector. The blocks are
// independent transforms, so there the data is transposed: whole blocks, one a lane, finish as a batch. With blocks in
// the lanes whose outputs are adjacent, the digit reversal costs nothing.
#pragma once

#include <cstddef>

#include "fft/complex.h"
#include "fft/convolution.h"
#include "fft/fft_kernels.h"
#include "fft/passes.h"
#include "fft/plan_view.h"
#include "fft/small_transform.h"
#include "simd/lanes.h"

namespace kelvo::Fft {
inline namespace KELVO_LEVEL {

// Takes the elements of blocks in lanes, as their last pass computes them, to the sink of the whole transform: element
// i of the blocks from `first_block` on is an output of each, and these outputs are adjacent.
template <class Sink>
struct BlockOutputs {
  static constexpr bool kTakesRadix16 = true;
  const Sink& sink;
  const unsigned* output;
  std::size_t first_block;

  template <class Lane>
  KELVO_INLINE void Store(std::size_t i, const Complex<Lane>& x) const {
    sink.Store(first_block + output[i], x);
  }
  KELVO_INLINE BlockOutputs From(std::size_t i) const { return {sink, output + i, first_block}; }
};

template <class Source>
static void CopyElements(const Source& source, SplitElements to, std::size_t length) {
  ForEachVector(
      length, [&]<class Lane>(std::size_t k)
                  __attribute__((always_inline)) { to.Store(k, source.template Load<Lane>(k)); });
}

// The first pass, from the source of the transform. Only the radices of CanReadSource are compiled for every kind of
// source; before others the source is copied.
template <class Lane, class Source>
KELVO_INLINE void RunFirstPass(const Source& source, SplitElements to, SplitElements spare, const Pass& pass,
                               std::size_t length, float* scratch) {
  if constexpr (Lane::kSize > 1) {
    switch (pass.radix) {
      case 3: return RunPass<3, Single, Lane>(source, to, pass, length);
      case 4: return RunPass<4, Single, Lane>(source, to, pass, length);
      case 5: return RunPass<5, Single, Lane>(source, to, pass, length);
      case 8: return RunPass<8, Single, Lane>(source, to, pass, length);
      default: break;
    }
  }
  CopyElements(source, spare, length);
  RunAnyPass<Single, Lane>(spare, to, pass, length, scratch);
}

// Transposes Lane::kSize vectors to those parts of a batch.
template <class Lane>
KELVO_INLINE void TransposeTo(float* to, const Lane* from) {
  Lane rows[Lane::kSize];
#pragma GCC unroll 16
  for (std::size_t l = 0; l < Lane::kSize; ++l) rows[l] = from[l];
  Transpose(rows);
#pragma GCC unroll 16
  for (std::size_t l = 0; l < Lane::kSize; ++l) rows[l].Store(to + l * BatchElements<Lane>::kStride);
}

// Elements j, j + 1, ... of kBlockN blocks, to batches that lie one behind the other.
template <std::size_t kBlockN, class Lane>
KELVO_INLINE void TransposeToBatches(BatchElements<Lane> to, const Lane* re, const Lane* im, std::size_t block,
                                     std::size_t j) {
#pragma GCC unroll 4
  for (std::size_t first = 0; first < kBlockN; first += Lane::kSize) {
    const BatchElements<Lane> batch = to.From(first / Lane::kSize * block + j);
    TransposeTo(batch.re, re + first);
    TransposeTo(batch.Im(), im + first);
  }
}

// The first pass of a transform whose blocks finish in lanes from then on, and the transposition to lanes while outputs
// are in registers: element i of block l becomes lane l % Lane::kSize of vector i of batch l / Lane::kSize. The batches
// lie one behind the other.
template <std::size_t kRadix, class Lane, class Source>
__attribute__((noinline)) static void RunPassToLanes(Source source, BatchElements<Lane> to, const Pass& shared) {
  const Pass pass = shared;
  for (std::size_t j = 0; j < pass.span; j += Lane::kSize) {
    if (j + Lane::kSize > pass.span) j = pass.span - Lane::kSize;
    const Source from = source.From(j);
    Complex<Lane> x[kRadix];
#pragma GCC unroll 16
    for (std::size_t s = 0; s < kRadix; ++s) x[s] = from.template Load<Lane>(s * pass.span);
    Butterfly(x);
    const Single::Twiddles twiddles(pass, kRadix, pass.span, j);
    Lane re[kRadix], im[kRadix];
#pragma GCC unroll 16
    for (std::size_t s = 0; s < kRadix; ++s) {
      const Complex<Lane> y = s == 0 ? x[0] : x[s] * twiddles.At<Lane>(s);
      re[s] = y.re;
      im[s] = y.im;
    }
    TransposeToBatches<kRadix>(to, re, im, pass.span, j);
  }
}

// Two first passes of radix 4 at once, which leave a block for each of sixteen lanes, and the transposition.
template <class Lane, class Source>
__attribute__((noinline)) static void RunTwoPassesToLanes(Source source, BatchElements<Lane> to, const Pass& first,
                                                          const Pass& second) {
  const std::size_t span = second.span;
  for (std::size_t j = 0; j < span; j += Lane::kSize) {
    if (j + Lane::kSize > span) j = span - Lane::kSize;
    Complex<Lane> rows[4][4];
#pragma GCC unroll 4
    for (std::size_t c = 0; c < 4; ++c) {
      const Source from = source.From(c * span + j);
      Complex<Lane> x[4];
#pragma GCC unroll 4
      for (std::size_t s = 0; s < 4; ++s) x[s] = from.template Load<Lane>(4 * s * span);
      Butterfly(x);
      const Single::Twiddles twiddles(first, 4, 4 * span, c * span + j);
      rows[0][c] = x[0];
#pragma GCC unroll 4
      for (std::size_t s = 1; s < 4; ++s) rows[s][c] = x[s] * twiddles.At<Lane>(s);
    }
    Lane re[16], im[16];
#pragma GCC unroll 4
    for (std::size_t r = 0; r < 4; ++r) {
      Butterfly(rows[r]);
      const Single::Twiddles twiddles(second, 4, span, j);
#pragma GCC unroll 4
      for (std::size_t s = 0; s < 4; ++s) {
        const Complex<Lane> x = s == 0 ? rows[r][0] : rows[r][s] * twiddles.At<Lane>(s);
        re[4 * s + r] = x.re;
        im[4 * s + r] = x.im;
      }
    }
    TransposeToBatches<16>(to, re, im, span, j);
  }
}

// Passes first .. last - 1 in place, on vectors of adjacent elements, over blocks that pass `first` finds whole. Blocks
// that leave L1 are finished one after the other, so that each comes through every cache once.
[[maybe_unused]] static void RunPassesDepthFirst(SplitElements elements, const TransformView& plan, std::size_t first,
                                                 std::size_t last, std::size_t length, float* scratch) {
  for (; first < last; ++first) {
    const Pass& pass = plan.passes[first];
    const std::size_t block = pass.radix * pass.span;
    if (block < length && length > kMaxL1Elements) {
      for (std::size_t begin = 0; begin < length; begin += block) {
        RunPassesDepthFirst(elements.From(begin), plan, first, last, block, scratch);
      }
      return;
    }
    RunAnyPass<Single, Floats>(elements, elements, pass, length, scratch);
  }
}

// Whether a direct pass takes less time with outputs in the lanes than with elements, as measured. Fewer than four
// elements would go one by one; up to seven use four lanes of a wider vector, where only a large radix gains.
KELVO_INLINE bool RunsByOutputs(const Pass& pass) {
  return pass.order != nullptr && pass.span < (Floats::kSize > 4 && pass.radix > 50 ? 8 : 4);
}

// Multiplies elements k .. count - 1 by twiddles, as far as whole vectors go; returns the first that is left.
template <class Lane>
KELVO_INLINE std::size_t MultiplyFrom(std::size_t k, const SplitElements& elements, const ConstElements& twiddles,
                                      std::size_t count) {
  for (; k + Lane::kSize <= count; k += Lane::kSize) {
    elements.Store(k, elements.Load<Lane>(k) * twiddles.Load<Lane>(k));
  }
  return k;
}

// RunDirectPass with outputs in the lanes: one sum a column, then the twiddles. The same bits, in place at any span.
template <bool kIsReal>
static void RunDirectPassByOutputs(SplitElements elements, const Pass& pass, std::size_t length, float* scratch) {
  for (std::size_t block = 0; block < length; block += pass.radix * pass.span) {
    for (std::size_t j = 0; j < pass.span; ++j) {
      const Column column{elements.From(block + j), pass.span};
      SumColumn<kIsReal>(pass, column, column, scratch);
    }
    // In the order of the outputs.
    const SplitElements outputs = elements.From(block + pass.span);
    const ConstElements twiddles{pass.twiddle_re, pass.twiddle_im};
    const std::size_t count = (pass.radix - 1) * pass.span;
    const std::size_t k = MultiplyFrom<Floats>(0, outputs, twiddles, count);
    MultiplyFrom<Lanes<float, 1>>(k, outputs, twiddles, count);
  }
}
KELVO_INLINE void RunPassByOutputs(SplitElements elements, const Pass& pass, std::size_t length, float* scratch) {
  if (pass.is_real) {
    RunDirectPassByOutputs<true>(elements, pass, length, scratch);
  } else {
    RunDirectPassByOutputs<false>(elements, pass, length, scratch);
  }
}

// Whether TransformInLanes takes the plan: the first passes leave a block for each lane, of whole vectors.
KELVO_INLINE bool GoesToLanes(const TransformView& plan, const TransposeStep& step) {
  const Pass* const passes = plan.passes;
  if constexpr (Floats::kSize == 4) {
    return step.pass_n == 1 && (passes[0].radix == 4 || passes[0].radix == 8) && passes[0].span >= 4;
  } else {
    return step.pass_n == 2 && passes[0].radix == 4 && passes[1].radix == 4 && passes[1].span >= Floats::kSize;
  }
}

// A transform whose first passes transpose what they leave. Its blocks lie in the order of the outputs then. `batches`
// holds the elements.
template <class Source, class Sink>
KELVO_INLINE void TransformInLanes(const TransformView& plan, const TransposeStep& step, const Source& source,
                                   const Sink& sink, float* batches, float* scratch) {
  const Pass& first = plan.passes[0];
  const auto elements = BatchAt<Floats>(batches);
  if constexpr (Floats::kSize > 4) {
    RunTwoPassesToLanes<Floats>(source, elements, first, plan.passes[1]);
  } else if (first.radix == 4) {
    RunPassToLanes<4, Floats>(source, elements, first);
  } else {
    RunPassToLanes<8, Floats>(source, elements, first);
  }
  const std::size_t block = plan.passes[step.pass_n - 1].span;
  const std::size_t last = plan.pass_n - 1;
  for (std::size_t b = 0; b < step.block_n; b += Floats::kSize) {
    const auto lanes = elements.From(b / Floats::kSize * block);
    for (std::size_t i = step.pass_n; i < last; ++i) {
      RunAnyPass<Batch, Floats>(lanes, lanes, plan.passes[i], block, scratch);
    }
    RunLastPass<Floats>(lanes, BlockOutputs<Sink>{sink, plan.output, b}, plan.passes[last], block, scratch);
  }
}

// One transform from `source` to `sink`, which is given each output once or, with equal values, twice:
// sink.Store<Lane>(k, x) with outputs k, k + 1, ... in the lanes of x. The source has been read to its end before the
// sink is called. `scratch` holds TransformScratchSize(plan) floats.
template <class Source, class Sink>
static void TransformSingle(const TransformView& plan, const Source& source, const Sink& sink, float* scratch) {
  using One = Lanes<float, 1>;
  if (plan.chirp != nullptr) return TransformByChirp(plan, source, sink, scratch);
  if constexpr (kHasFour) {
    if (IsSmall<4>(plan)) return TransformSmallTo<4>(plan, source, sink);
    if (IsSmall<8>(plan)) return TransformSmallTo<8>(plan, source, sink);
  }
  if (IsSum(plan)) return TransformBySum(plan, source, sink, scratch);
  const std::size_t length = plan.length;
  const std::size_t stride = ArrayStride(length);
  SplitElements elements{scratch, scratch + stride};
  const std::size_t spare_stride = ArrayStride(plan.spare_n);
  SplitElements spare{scratch + 2 * stride, scratch + 2 * stride + spare_stride};
  float* const pass_scratch = spare.im + spare_stride;

  const TransposeStep step = plan.transpose_steps[LaneCountIndex(Floats::kSize)];
  if (step.pass_n == 0) {
    CopyElements(source, elements, length);
    RunPasses<Single, One>(elements, plan, 0, plan.pass_n, length, pass_scratch);
    for (std::size_t k = 0; k < length; ++k) sink.Store(k, elements.Load<One>(plan.position[k]));
    return;
  }

  if constexpr (Floats::kSize > 1) {
    if (GoesToLanes(plan, step)) return TransformInLanes(plan, step, source, sink, scratch, pass_scratch);
  }

  for (std::size_t i = 0; i < step.pass_n; ++i) {
    if (i == 1 && length > kMaxL1Elements) {
      while (i < step.pass_n && plan.passes[i].span % Floats::kSize == 0) ++i;
      RunPassesDepthFirst(elements, plan, 1, i, length, pass_scratch);
      if (i == step.pass_n) break;
    }
    const Pass& pass = plan.passes[i];
    if (RunsByOutputs(pass)) {
      if (i == 0) CopyElements(source, elements, length);
      RunPassByOutputs(elements, pass, length, pass_scratch);
      continue;
    }
    AtWidth(
        pass.span, [&]<class Lane>() __attribute__((always_inline)) {
          if (i == 0) {
            RunFirstPass<Lane>(source, elements, spare, pass, length, pass_scratch);
          } else if (pass.span % Lane::kSize == 0) {
            RunAnyPass<Single, Lane>(elements, elements, pass, length, pass_scratch);
          } else {
            RunAnyPass<Single, Lane>(elements, spare, pass, length, pass_scratch);
            const SplitElements written = spare;
            spare = elements;
            elements = written;
          }
        });
  }

  const std::size_t block = plan.passes[step.pass_n - 1].span;
  const std::size_t block_n = step.block_n;
  const std::size_t last = plan.pass_n - 1;
  AtWidth(
      block_n, [&]<class Lane>() __attribute__((always_inline)) {
        for (std::size_t b = 0; b < block_n; b += Lane::kSize) {
          if (b + Lane::kSize > block_n) b = block_n - Lane::kSize;
          // Outputs b, b + 1, ... of the passes so far begin the blocks with outputs b + r * block_n, ... of the whole.
          const BlockOutputs<Sink> outputs{sink, plan.output, b};
          if constexpr (Lane::kSize == 1) {
            const SplitElements lone = elements.From(plan.position[b]);
            RunPasses<Single, One>(lone, plan, step.pass_n, plan.pass_n, block, pass_scratch);
            for (std::size_t i = 0; i < block; ++i) outputs.Store(i, lone.template Load<One>(i));
          } else {
            // As many blocks as there are lanes have at most the elements of the whole.
            const auto lanes = BatchAt<Lane>(spare.re);
            TransposeBlocks(lanes, elements, plan.position + b, block);
            for (std::size_t i = step.pass_n; i < last; ++i) {
              RunAnyPass<Batch, Lane>(lanes, lanes, plan.passes[i], block, pass_scratch);
            }
            RunLastPass<Lane>(lanes, outputs, plan.passes[last], block, pass_scratch);
          }
        }
      });
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Fft
